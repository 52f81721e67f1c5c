#pragma once

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"
#include "core/datatypes/Variant.h"

namespace zarvo::exp {

class DataGroupDescriptor;

/// The range options of a descriptor, shared with its options ("Min", "Max",
/// "Step"); a field is empty where the option is missing. The values are not
/// interpreted: their type is whatever was stored. The fields are public, since
/// nothing but the caller of getParameterRange reads them.
struct ZARVO_EXPORT ParameterRange {
    /// The option "Min".
    std::shared_ptr<Variant> min;
    /// The option "Max".
    std::shared_ptr<Variant> max;
    /// The option "Step".
    std::shared_ptr<Variant> step;
};

/// Describes one datum without holding it: its name, its value type, its access
/// rights and keyed options. Items are made by makeItem/makeItemFromType, groups
/// by makeGroup. A group owns its members by shared_ptr; a member points back to
/// its group with a plain pointer, valid as long as the group lives.
/// Descriptors can be copied but not assigned (the type is a reference).
class ZARVO_EXPORT DataDescriptor {
public:
    /// Copies name, parent, type, flags and options (groups duplicated, values shared).
    DataDescriptor(const DataDescriptor& other);
    /// Not assignable: the type is a reference.
    DataDescriptor& operator=(const DataDescriptor&) = delete;
    /// Releases name and options; virtual for the groups.
    virtual ~DataDescriptor();

    /// The std::type_info of the described value type.
    virtual const std::type_info& getTypeInfo() const;
    /// The registered name of the described value type.
    virtual const std::string getTypeName() const;
    /// This descriptor as a group; throws "this datum is not a group!" on an item.
    virtual DataGroupDescriptor* getGroupPtr();
    /// This descriptor as a group; throws "this datum is not a group!" on an item.
    virtual const DataGroupDescriptor* getGroupPtr() const;
    /// Whether this is a group.
    virtual bool isGroup() const;

    /// A new root group; every member's parent becomes the group. Throws, and
    /// changes no member, if a member pointer is empty.
    static std::shared_ptr<DataGroupDescriptor> makeGroup(const std::string& name,
                                                          const std::vector<std::shared_ptr<DataDescriptor>>& members);
    /// A new root item of the type registered as typeName; throws if there is none.
    static std::shared_ptr<DataDescriptor> makeItem(const std::string& name, const std::string& typeName);
    /// A new root item of type's type.
    static std::shared_ptr<DataDescriptor> makeItemFromType(const std::string& name, const TypeObject& type);

    /// The datum's own name, one segment of a qualified name.
    const std::string& getName() const { return m_name; }
    /// The enclosing group, nullptr for a root.
    const DataDescriptor* parent() const { return m_parent; }
    /// Stores parent as it is; the former group keeps this descriptor in its list.
    void setParent(const DataDescriptor* parent) { m_parent = parent; }

    /// The option at key (dotted keys reach into nested groups), or an empty pointer.
    std::shared_ptr<Variant> getOption(const std::string& key);
    /// Replaces the options by a copy of options; then "ReadAccess" and
    /// "WriteAccess", where present, overrule the read and write flags. A flag
    /// whose option is not a bool throws, with the options already replaced and
    /// "ReadAccess" applied if it came before a failing "WriteAccess".
    void setDescriptorOptions(const DataStorage<std::string>& options);
    /// The same as the copying form: options is copied and keeps its content.
    void setDescriptorOptions(DataStorage<std::string>&& options);
    /// The options "Min", "Max" and "Step", shared with the options.
    ParameterRange getParameterRange() const;

    /// Read right; a constant datum is always readable.
    bool isReadable() const { return m_readable || m_constant; }
    /// Write right; being constant does not take it away.
    bool isWritable() const { return m_writable; }
    /// Whether changes are notified.
    bool isNotification() const { return m_notification; }
    /// Whether the datum is constant.
    bool isConstant() const { return m_constant; }
    /// Stores the four flags, overruling what the options set before.
    void setAccessParameters(bool readable, bool writable, bool notification, bool constant);

    /// The dotted path of item below its root, the root's own name left out:
    /// item's name joined to tail by separator, the levels above joined by ".".
    /// A root answers with tail, or with its name if tail is empty. Throws if item
    /// is nullptr.
    static std::string getFullQualifiedItemName(const DataDescriptor* item, const std::string& tail,
                                                const std::string& separator);

protected:
    /// An item of the type registered as typeName; throws if there is none.
    DataDescriptor(const std::string& name, const std::string& typeName, const DataDescriptor* parent);
    /// An item of type's type; the registry keeps owning type.
    DataDescriptor(const std::string& name, const TypeObject& type, const DataDescriptor* parent);
    /// An item of the registered type type; throws if there is none.
    DataDescriptor(const std::string& name, const std::type_info& type, const DataDescriptor* parent);

private:
    // Lets "ReadAccess" and "WriteAccess" overrule the flags; an absent option
    // leaves its flag alone.
    ZARVO_NO_EXPORT void setCompatibilityAccessRights();

    std::string m_name;
    const DataDescriptor* m_parent;
    DataStorage<std::string> m_options;
    const TypeObject& m_type;
    bool m_readable = true;
    bool m_writable = true;
    bool m_notification = true;
    bool m_constant = false;
};

/// A named group of descriptors, reporting DataStorage<std::string> as its type
/// so that a tree of descriptors can describe a nested storage.
class ZARVO_EXPORT DataGroupDescriptor : public DataDescriptor {
public:
    /// The members of a group, in their order.
    using Members = std::vector<std::shared_ptr<DataDescriptor>>;

    /// A group of members, in their order; each member's parent becomes this group.
    /// Throws, and changes no member, if a member pointer is empty.
    DataGroupDescriptor(std::string name, Members members, const DataDescriptor* parent);
    /// Shares other's members, whose parent stays other.
    DataGroupDescriptor(const DataGroupDescriptor& other);
    /// Copies other's base part and takes its members, leaving other without any;
    /// the members' parent stays other.
    DataGroupDescriptor(DataGroupDescriptor&& other);
    /// Not assignable, like every descriptor.
    DataGroupDescriptor& operator=(const DataGroupDescriptor&) = delete;
    /// Releases this group's share of its members.
    ~DataGroupDescriptor() override;

    /// typeid(DataStorage<std::string>), whatever the group holds.
    const std::type_info& getTypeInfo() const override;
    /// "DataStorage<std::string>".
    const std::string getTypeName() const override;
    /// This group.
    DataGroupDescriptor* getGroupPtr() override;
    /// This group.
    const DataGroupDescriptor* getGroupPtr() const override;
    /// True.
    bool isGroup() const override;

    /// Makes this group member's parent and appends member, without looking for
    /// doubles; a former group keeps it in its list. Throws, and changes nothing,
    /// if member is empty.
    void addMember(std::shared_ptr<DataDescriptor> member);
    /// The first member.
    Members::const_iterator begin() const { return m_members.begin(); }
    /// Past the last member.
    Members::const_iterator end() const { return m_members.end(); }
    /// The members in their order.
    const Members& getMemberList() const { return m_members; }

    /// Writes the tree below this group to std::cout, one line per member,
    /// flushed: "<indent><name>  =  <type_info name>" for an item, and
    /// "<indent>Group: <name>" for a group, followed by its members indented by
    /// three more blanks and an empty line. A member counts as a group by its
    /// type, so an item of type DataStorage<std::string> throws after its line.
    void print(const std::string& indent) const;

private:
    Members m_members;
};

}  // namespace zarvo::exp
