#pragma once

#include <string>

#include "valuefault/Export.h"

namespace zarvo::exp {

/// A path-like name split at its first separator: "a.b.c" gives the group "a" and
/// the rest "b.c". Storages walk their dotted keys one item per level.
template <class Name>
class ZARVO_EXPORT GroupItem {
public:
    /// The text before the first separator, or the whole name if there is none.
    Name id;
    /// The text behind the first separator (further separators included), or empty.
    Name subId;
    /// A separator was found: id names a group and subId the path inside it.
    bool isGroup = false;
    /// The item is the result of a split; a default-constructed item is not.
    bool isValid = false;

    /// A copy of subId.
    virtual Name getSubId() const { return subId; }
};

/// Splits name at its first "."; never fails.
template <class Name>
GroupItem<Name> discriminate(const Name& name);

/// Splits a text name at its first "." ("a.b.c" gives id "a" and subId "b.c").
template <>
ZARVO_EXPORT GroupItem<std::string> discriminate<std::string>(const std::string& name);

/// Splits name at the first occurrence of pattern, which must be exactly one
/// character (any byte); throws a zarvo::Exception otherwise, whatever name holds.
ZARVO_EXPORT GroupItem<std::string> discriminate(const std::string& name, const std::string& pattern);

}  // namespace zarvo::exp
