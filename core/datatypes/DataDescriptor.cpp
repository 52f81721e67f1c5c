#include "core/datatypes/DataDescriptor.h"

#include <iostream>
#include <utility>

#include "valuefault/Exception.h"

namespace zarvo::exp {

DataDescriptor::DataDescriptor(const std::string& name, const std::string& typeName, const DataDescriptor* parent)
    : DataDescriptor(name, TypeObject::find(typeName), parent) {}

DataDescriptor::DataDescriptor(const std::string& name, const TypeObject& type, const DataDescriptor* parent)
    : m_name(name), m_parent(parent), m_type(type) {}

DataDescriptor::DataDescriptor(const std::string& name, const std::type_info& type, const DataDescriptor* parent)
    : DataDescriptor(name, TypeObject::find(type), parent) {}

DataDescriptor::DataDescriptor(const DataDescriptor& other)
    : m_name(other.m_name),
      m_parent(other.m_parent),
      m_options(other.m_options),
      m_type(other.m_type),
      m_readable(other.m_readable),
      m_writable(other.m_writable),
      m_notification(other.m_notification),
      m_constant(other.m_constant) {}

DataDescriptor::~DataDescriptor() = default;

const std::type_info& DataDescriptor::getTypeInfo() const { return m_type.getTypeInfo(); }

const std::string DataDescriptor::getTypeName() const { return m_type.getTypeString(); }

DataGroupDescriptor* DataDescriptor::getGroupPtr() { ZARVO_THROW("this datum is not a group!"); }

const DataGroupDescriptor* DataDescriptor::getGroupPtr() const { ZARVO_THROW("this datum is not a group!"); }

bool DataDescriptor::isGroup() const { return false; }

std::shared_ptr<DataGroupDescriptor> DataDescriptor::makeGroup(
    const std::string& name, const std::vector<std::shared_ptr<DataDescriptor>>& members) {
    return std::make_shared<DataGroupDescriptor>(name, members, nullptr);
}

// The item constructors are protected, so the descriptor is made here and handed
// to the shared_ptr rather than through make_shared.
std::shared_ptr<DataDescriptor> DataDescriptor::makeItem(const std::string& name, const std::string& typeName) {
    return std::shared_ptr<DataDescriptor>(new DataDescriptor(name, typeName, nullptr));
}

std::shared_ptr<DataDescriptor> DataDescriptor::makeItemFromType(const std::string& name, const TypeObject& type) {
    return std::shared_ptr<DataDescriptor>(new DataDescriptor(name, type, nullptr));
}

std::shared_ptr<Variant> DataDescriptor::getOption(const std::string& key) { return m_options.get(key); }

void DataDescriptor::setDescriptorOptions(const DataStorage<std::string>& options) {
    m_options = options;
    setCompatibilityAccessRights();
}

void DataDescriptor::setDescriptorOptions(DataStorage<std::string>&& options) {
    // The storage has no stealing assignment: options keeps its entries.
    m_options = options;
    setCompatibilityAccessRights();
}

ParameterRange DataDescriptor::getParameterRange() const {
    ParameterRange range;
    range.step = m_options.get("Step");
    range.max = m_options.get("Max");
    range.min = m_options.get("Min");
    return range;
}

void DataDescriptor::setAccessParameters(bool readable, bool writable, bool notification, bool constant) {
    m_readable = readable;
    m_writable = writable;
    m_notification = notification;
    m_constant = constant;
}

void DataDescriptor::setCompatibilityAccessRights() {
    if (const auto read = m_options.get("ReadAccess")) m_readable = read->value<bool>();
    if (const auto write = m_options.get("WriteAccess")) m_writable = write->value<bool>();
}

std::string DataDescriptor::getFullQualifiedItemName(const DataDescriptor* item, const std::string& tail,
                                                     const std::string& separator) {
    if (item == nullptr) ZARVO_THROW("item is nullptr");
    if (item->m_parent == nullptr) return tail.empty() ? item->m_name : tail;
    // Only the caller's separator joins the item to the tail; the levels above
    // are joined by ".", the separator of discriminate.
    return getFullQualifiedItemName(item->m_parent, tail.empty() ? item->m_name : item->m_name + separator + tail, ".");
}

DataGroupDescriptor::DataGroupDescriptor(std::string name, Members members, const DataDescriptor* parent)
    : DataDescriptor(name, typeid(void), parent), m_members(std::move(members)) {
    // All members are checked before the first one is taken over.
    for (const auto& member : m_members)
        if (!member) ZARVO_THROW("empty member in group: " << getName());
    for (const auto& member : m_members) member->setParent(this);
}

DataGroupDescriptor::DataGroupDescriptor(const DataGroupDescriptor& other) = default;

DataGroupDescriptor::DataGroupDescriptor(DataGroupDescriptor&& other)
    : DataDescriptor(other), m_members(std::move(other.m_members)) {}

DataGroupDescriptor::~DataGroupDescriptor() = default;

const std::type_info& DataGroupDescriptor::getTypeInfo() const { return typeid(DataStorage<std::string>); }

const std::string DataGroupDescriptor::getTypeName() const { return "DataStorage<std::string>"; }

DataGroupDescriptor* DataGroupDescriptor::getGroupPtr() { return this; }

const DataGroupDescriptor* DataGroupDescriptor::getGroupPtr() const { return this; }

bool DataGroupDescriptor::isGroup() const { return true; }

void DataGroupDescriptor::addMember(std::shared_ptr<DataDescriptor> member) {
    if (!member) ZARVO_THROW("empty member in group: " << getName());
    member->setParent(this);
    m_members.push_back(std::move(member));
}

void DataGroupDescriptor::print(const std::string& indent) const {
    for (const auto& member : m_members) {
        // The type decides, not isGroup(): an item of the storage type prints as a
        // group and then fails in getGroupPtr().
        if (member->getTypeInfo() != typeid(DataStorage<std::string>)) {
            std::cout << indent << member->getName() << "  =  " << zarvo::Exception::typeName(member->getTypeInfo())
                      << std::endl;
            continue;
        }
        std::cout << indent << "Group: " << member->getName() << std::endl;
        member->getGroupPtr()->print(indent + "   ");
        std::cout << "\n";
    }
}

}  // namespace zarvo::exp
