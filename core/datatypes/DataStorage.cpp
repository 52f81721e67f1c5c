#include "core/datatypes/DataStorage.h"

#include <cstdint>
#include <mutex>
#include <typeinfo>

#include "core/datatypes/GroupDiscriminator.h"
#include "core/datatypes/TypeObject.h"
#include "valuefault/Exception.h"

namespace zarvo::exp {

namespace {
using Storage = DataStorage<std::string>;
using GroupHolder = Variant_<Storage>;

// The registered name of each value's type for a walk over the entries: the registry
// is asked again only when the type changes, since a level's values are mostly of
// one or a few types. Throws what getStringFromType throws.
class TypeNames {
public:
    std::string_view of(const Variant& value) {
        const std::type_info& type = value.getTypeInfo();
        if (m_pType == nullptr || *m_pType != type) {
            m_name = getStringFromType(type);
            m_pType = &type;
        }
        return m_name;
    }

private:
    const std::type_info* m_pType = nullptr;
    std::string_view m_name;
};
}  // namespace

DataStorageBase::~DataStorageBase() = default;

Storage::DataStorage() : m_pItems(std::make_unique<Map>()) {}

Storage::DataStorage(const DataStorage& other) : DataStorageBase(other), m_pItems(std::make_unique<Map>()) {
    // Groups get a holder of their own, copied by this same rule; leaves stay shared.
    for (const auto& [key, value] : *other.m_pItems) {
        const DataStorage* group = groupOf(*value);
        m_pItems->emplace_hint(m_pItems->end(), key, group != nullptr ? std::make_shared<GroupHolder>(*group) : value);
    }
}

Storage::DataStorage(DataStorage&& other) noexcept : DataStorageBase(other), m_pItems(std::move(other.m_pItems)) {}

Storage::~DataStorage() = default;

Storage& Storage::operator=(const DataStorage& other) {
    // The copy is made before the old entries go, which keeps other alive when it
    // is one of this storage's own groups.
    if (this != &other) {
        DataStorage copy(other);
        m_pItems = std::move(copy.m_pItems);
    }
    return *this;
}

Storage* Storage::groupOf(Variant& value) {
    return value.getTypeInfo() == typeid(DataStorage) ? static_cast<DataStorage*>(value.address_imp()) : nullptr;
}

const Storage* Storage::groupOf(const Variant& value) {
    return value.getTypeInfo() == typeid(DataStorage) ? static_cast<const DataStorage*>(value.constAddress_imp())
                                                      : nullptr;
}

std::shared_ptr<Variant> Storage::get(const std::string& key) const {
    const GroupItem<std::string> g = discriminate<std::string>(key);
    if (!g.isValid) ZARVO_THROW("invalid id");
    const auto it = m_pItems->find(g.id);
    if (it == m_pItems->end()) return {};
    if (!g.isGroup) return it->second;
    const DataStorage* group = groupOf(*it->second);
    if (group == nullptr)
        ZARVO_THROW("not a valid storage type: "
                    << g.id << "\ntype: " << zarvo::Exception::typeName(it->second->getTypeInfo())
                    << "\nexpected type: " << zarvo::Exception::typeName(typeid(DataStorage)));
    return group->get(g.subId);
}

std::pair<Storage::iterator, bool> Storage::insert(const std::string& key, std::shared_ptr<Variant> value) {
    GroupItem<std::string> g = discriminate<std::string>(key);
    if (!g.isValid) ZARVO_THROW("invalid id");
    if (!value) ZARVO_THROW("empty value for key: " << key);
    const auto it = m_pItems->lower_bound(g.id);
    if (it == m_pItems->end() || it->first != g.id) {
        if (!g.isGroup) return {m_pItems->emplace_hint(it, std::move(g.id), std::move(value)), true};
        // The whole missing branch is built aside and hung in as one entry.
        DataStorage group;
        group.insert(g.subId, std::move(value));
        return {m_pItems->emplace_hint(it, std::move(g.id), std::make_shared<GroupHolder>(std::move(group))), true};
    }
    if (!g.isGroup) return {it, false};
    DataStorage* group = groupOf(*it->second);
    if (group == nullptr) ZARVO_THROW("not a valid storage type: " << g.id);
    return group->insert(g.subId, std::move(value));
}

bool Storage::erase(const std::string& key) {
    const GroupItem<std::string> g = discriminate<std::string>(key);
    if (!g.isValid) ZARVO_THROW("invalid id");
    const auto it = m_pItems->find(g.id);
    if (it == m_pItems->end()) return true;
    if (!g.isGroup) {
        m_pItems->erase(it);
        return true;
    }
    DataStorage* group = groupOf(*it->second);
    if (group == nullptr) ZARVO_THROW("not a valid storage type: " << g.id);
    return group->erase(g.subId);
}

void Storage::clear() { m_pItems->clear(); }

size_t Storage::size() const { return m_pItems->size(); }

DataStorageBase* Storage::clone() const { return new DataStorage(*this); }

bool Storage::contains(const DataStorage& other) const { return contains(*other.m_pItems); }

bool Storage::contains(const Map& other) const {
    for (const auto& [key, value] : other) {
        const auto it = m_pItems->find(key);
        if (it == m_pItems->end() || it->second->getTypeInfo() != value->getTypeInfo()) return false;
        const std::string text = it->second->toString();
        if (text.empty() || text != value->toString()) return false;
    }
    return !other.empty();
}

bool Storage::operator==(const DataStorage& other) const {
    if (size() != other.size()) return false;
    for (const auto& [key, value] : *other.m_pItems) {
        const auto it = m_pItems->find(key);
        if (it == m_pItems->end() || !it->second->equal_imp(value)) return false;
    }
    return true;
}

size_t Storage::sizeofType() const {
    size_t size = sizeof(std::uint64_t);
    TypeNames names;
    for (const auto& [key, value] : *m_pItems)
        size += Memory::sizeofT(key) + 4 + names.of(*value).size() + value->sizeofT_imp();
    return size;
}

Storage Storage::deserialize(Endian endian, const char* data, size_t& size) {
    return Memory::readFrom(Memory::Cursor(endian, data), size, read);
}

Storage Storage::deserialize(Endian endian, const char* data, size_t available, size_t& size) {
    return Memory::readFrom(Memory::Cursor(endian, data, available), size, read);
}

Storage Storage::read(Memory::Cursor& in) {
    // Groups read themselves through the registry, one call chain deeper per level:
    // the depth is limited so that hostile bytes cannot exhaust the stack.
    constexpr unsigned kMaxNesting = 64;
    thread_local unsigned nesting = 0;
    struct Level {
        Level() {
            if (++nesting > kMaxNesting) {
                --nesting;
                ZARVO_THROW("Storage groups nested deeper than " << kMaxNesting << " levels");
            }
        }
        ~Level() { --nesting; }
    } level;

    const std::uint64_t count = in.field<std::uint64_t>();
    in.requireElements(count, 8);  // every entry holds at least its two lengths
    DataStorage storage;
    Map& items = *storage.m_pItems;
    // A level's values are mostly of one or a few types: the registry is asked again
    // only when the name changes.
    const TypeObject* entry = nullptr;
    std::string_view entryName;
    for (std::uint64_t i = 0; i < count; ++i) {
        // Key and name are looked at where they lie in the input; only the key is copied, into the map.
        const std::string_view key = in.text();
        const std::string_view typeName = in.text();
        if (key.find('.') != std::string_view::npos) ZARVO_THROW("Storage key holds a '.': " << key);
        if (entry == nullptr || typeName != entryName) {
            entry = &TypeObject::find(typeName);
            entryName = typeName;
        }
        std::shared_ptr<Variant> value = entry->deserialize(in);
        if (!value) ZARVO_THROW("Storage entry holds no value: " << key << " (type " << typeName << ")");
        // serialize() writes the keys in ascending order: the hint at the end then places
        // each behind the last one with a single comparison. Any other order makes the
        // insert search, and a key that appears twice leaves the map as it was.
        const size_t before = items.size();
        items.emplace_hint(items.end(), key, std::move(value));
        if (items.size() == before) ZARVO_THROW("Storage key appears twice: " << key);
    }
    return storage;
}

size_t Storage::serialize(Endian endian, char* data) const {
    size_t used = Memory::writeField(endian, data, static_cast<std::uint64_t>(m_pItems->size()));
    TypeNames names;
    for (const auto& [key, value] : *m_pItems) {
        used += Memory::writeText(endian, data + used, key);
        used += Memory::writeText(endian, data + used, names.of(*value));
        used += value->serialize_imp(endian, data + used);
    }
    return used;
}

template class Variant_<Storage>;

const TypeObject* registerStorageType() {
    // Callers on several threads register once between them.
    static std::mutex registering;
    const std::lock_guard<std::mutex> lock(registering);
    if (const TypeObject* entry = TypeObject::findP(typeid(Storage))) return entry;
    if (TypeObject::findP("storage") != nullptr) return nullptr;
    return TypeObject::create<Storage>("storage");
}

}  // namespace zarvo::exp
