#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "core/datatypes/Variant.h"
#include "core/memory/MemoryBinary.h"

namespace zarvo::exp {

/// The key-type independent face of a storage.
class ZARVO_EXPORT DataStorageBase {
public:
    /// Copies nothing: the base has no state of its own.
    DataStorageBase(const DataStorageBase&) = default;
    /// Copies nothing: the base has no state of its own.
    DataStorageBase& operator=(const DataStorageBase&) = default;
    /// Virtual: a clone() is deleted through this base.
    virtual ~DataStorageBase();

    /// Removes all entries of this level, with the groups among them.
    virtual void clear() = 0;
    /// Number of entries of this level; a group counts as one.
    virtual size_t size() const = 0;
    /// A copy on the heap, made by the copy rule of the concrete storage; the caller owns it.
    virtual DataStorageBase* clone() const = 0;

protected:
    /// For the concrete storages only.
    DataStorageBase() = default;
};

template <class Key>
class DataStorage;

/// Values of any registered type under text keys, in key order. A key may be a
/// dotted path: "a.b.c" is the entry "c" in the group "b" in the group "a", where a
/// group is an entry holding another storage in a Variant_<DataStorage<std::string>>.
/// Values are shared: get() hands out the stored object itself. Copies duplicate
/// the groups and share the leaf values.
template <>
class ZARVO_EXPORT DataStorage<std::string> : public DataStorageBase {
public:
    /// The entries of one level, by key.
    using Map = std::map<std::string, std::shared_ptr<Variant>>;
    /// Walks the entries of one level.
    using iterator = Map::iterator;
    /// Walks the entries of one level, read only.
    using const_iterator = Map::const_iterator;

    /// An empty storage.
    DataStorage();
    /// Duplicates other's groups, shares its leaf values.
    DataStorage(const DataStorage& other);
    /// Takes over other's entries; other is left without any and may only be
    /// assigned to or destroyed.
    DataStorage(DataStorage&& other) noexcept;
    /// Releases the entries; a shared value lives on with its other owners.
    ~DataStorage() override;
    /// Replaces the entries by a copy of other's (see the copy constructor). An
    /// rvalue binds here too and is not emptied. Assigning a storage to itself
    /// leaves it unchanged; other may also be one of this storage's own groups.
    DataStorage& operator=(const DataStorage& other);

    /// @name Keyed access by dotted path
    /// @{

    /// The value at key, or an empty pointer if there is none (missing groups
    /// included). Throws if the path runs on behind an entry that is no group.
    std::shared_ptr<Variant> get(const std::string& key) const;
    /// Adds value at key, making the missing groups of its path; never replaces an
    /// existing entry (the flag is then false). The iterator points into the
    /// deepest level of the path that existed before the call, at the entry found
    /// or added there (the value, or the first new group). Throws, and changes
    /// nothing, if value is empty or the path runs on behind an entry that is no group.
    std::pair<iterator, bool> insert(const std::string& key, std::shared_ptr<Variant> value);
    /// Removes the entry at key, a group with all it holds; a group emptied by it
    /// stays. True whenever it returns, a missing key included. Throws, and changes
    /// nothing, if the path runs on behind an entry that is no group.
    bool erase(const std::string& key);
    /// @}

    /// Removes all entries of this level, with the groups among them.
    void clear() override;
    /// Number of entries of this level; a group counts as one.
    size_t size() const override;
    /// A new DataStorage<std::string> copied by the copy constructor; the caller owns it.
    DataStorageBase* clone() const override;

    /// Every entry of other is at this level (keys taken whole, not as paths) with
    /// a value of the same type and the same non-empty text. False for an empty
    /// other; throws for a value with no text form, groups included.
    virtual bool contains(const DataStorage& other) const;
    /// The same test against a plain map.
    virtual bool contains(const Map& other) const;

    /// The first entry of this level in key order.
    iterator begin() { return m_pItems->begin(); }
    /// Past the last entry of this level.
    iterator end() { return m_pItems->end(); }
    /// The first entry of this level in key order.
    const_iterator begin() const { return m_pItems->begin(); }
    /// Past the last entry of this level.
    const_iterator end() const { return m_pItems->end(); }

    /// The storage that value holds when it is a group (a
    /// Variant_<DataStorage<std::string>>), or nullptr for any other value.
    static DataStorage* groupOf(Variant& value);
    /// The same, read only.
    static const DataStorage* groupOf(const Variant& value);

    /// Same keys with equal values at every level, whatever the order of insertion.
    /// Throws for a value that has no equality.
    bool operator==(const DataStorage& other) const;

    /// @name Byte form
    /// @{

    /// Exact number of bytes serialize() writes. Throws for a group, whose holder
    /// has no registered name.
    size_t sizeofType() const;
    /// Writes the byte form at data: the entry count as uint64, then per entry in
    /// key order the key and the value's registered name (each a uint32 length and
    /// the bytes) and the value's own byte form. Returns the bytes written.
    size_t serialize(Endian endian, char* data) const;
    /// Reads a storage in the form serialize() writes, from data that holds all of
    /// it; size receives the bytes used. Each value is read through the registry by
    /// its name, so a group reads back only once a caller has registered
    /// DataStorage<std::string> under a name. Throws a zarvo::Exception, and gives no
    /// storage, for a duplicate key, a key holding ".", an unregistered name, an
    /// entry named "void", or groups nested deeper than 64 levels.
    static DataStorage deserialize(Endian endian, const char* data, size_t& size);
    /// As above, but never reads past data + available: input that ends early or
    /// counts more entries than it can hold throws a zarvo::Exception.
    static DataStorage deserialize(Endian endian, const char* data, size_t available, size_t& size);
    /// @}

private:
    // Reads the entries at the cursor: the one reader behind both deserialize forms.
    static ZARVO_NO_EXPORT DataStorage read(Memory::Cursor& in);

    std::unique_ptr<Map> m_pItems;
};

extern template class ZARVO_EXPORT Variant_<DataStorage<std::string>>;

class TypeObject;

/// Registers DataStorage<std::string> under the name "storage", which gives a storage
/// with groups its byte form, unless that type or that name is registered already;
/// returns the type's registry entry, or nullptr if "storage" names another type.
/// Idempotent, also after a ZARVO_REGISTER_METATYPE of the type; like every
/// registration, call it before values are read or written on other threads.
ZARVO_EXPORT const TypeObject* registerStorageType();

}  // namespace zarvo::exp
