#include "core/datatypes/GroupDiscriminator.h"

#include "valuefault/Exception.h"

namespace zarvo::exp {

namespace {

// Builds both parts in place from name, so a split costs at most the two strings
// of the result (none at all for names short enough to be stored inline).
GroupItem<std::string> split(const std::string& name, char separator) {
    GroupItem<std::string> item;
    const size_t at = name.find(separator);
    if (at == std::string::npos) {
        item.id = name;
    } else {
        item.id.assign(name, 0, at);
        item.subId.assign(name, at + 1, std::string::npos);
        item.isGroup = true;
    }
    item.isValid = true;
    return item;
}

}  // namespace

template <>
GroupItem<std::string> discriminate<std::string>(const std::string& name) {
    return split(name, '.');
}

GroupItem<std::string> discriminate(const std::string& name, const std::string& pattern) {
    if (pattern.size() != 1) ZARVO_THROW("Paddern must be one char!");
    return split(name, pattern[0]);
}

}  // namespace zarvo::exp
