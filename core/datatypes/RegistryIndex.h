#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <typeinfo>

namespace zarvo::exp {

/// A hash of a short text from its length and at most its first and last eight bytes:
/// two loads and two multiplications whatever the length, no loop, no call.
inline std::uint64_t registryHash(std::string_view text) {
    const char* bytes = text.data();
    const size_t length = text.size();
    std::uint64_t head = 0, tail = 0;
    if (length >= 8) {
        std::memcpy(&head, bytes, 8);
        std::memcpy(&tail, bytes + length - 8, 8);
    } else if (length >= 4) {
        std::uint32_t first, last;
        std::memcpy(&first, bytes, 4);
        std::memcpy(&last, bytes + length - 4, 4);
        head = first;
        tail = last;
    } else if (length > 0) {
        head = static_cast<unsigned char>(bytes[0]) | static_cast<unsigned char>(bytes[length / 2]) << 8 |
               static_cast<unsigned char>(bytes[length - 1]) << 16;
    }
    std::uint64_t hash = (head ^ (length * 0x9E3779B97F4A7C15ull)) * 0xBF58476D1CE4E5B9ull;
    hash = (hash ^ tail) * 0x94D049BB133111EBull;
    return hash ^ (hash >> 31);
}

/// How the registry hashes and compares one kind of key.
template <class Key>
struct RegistryKey;

/// A registered name, by its bytes.
template <>
struct RegistryKey<std::string_view> {
    /// The hash of the bytes.
    static std::uint64_t hash(std::string_view key) { return registryHash(key); }
    /// Same bytes.
    static bool equal(std::string_view a, std::string_view b) { return a == b; }
};

/// A registered type, hashed by its mangled name and compared by std::type_info's own
/// equality, which knows a type again where two libraries each hold a copy of its typeid.
template <>
struct RegistryKey<const std::type_info*> {
    /// The hash of the mangled name, equal for equal types.
    static std::uint64_t hash(const std::type_info* key) { return registryHash(key->name()); }
    /// Same type.
    static bool equal(const std::type_info* a, const std::type_info* b) { return *a == *b; }
};

/// An object by its address alone: no bytes to measure or read.
template <>
struct RegistryKey<const void*> {
    /// The address, mixed into its high bits and folded down.
    static std::uint64_t hash(const void* key) {
        const std::uint64_t hash = reinterpret_cast<std::uintptr_t>(key) * 0x9E3779B97F4A7C15ull;
        return hash ^ (hash >> 32);
    }
    /// Same address.
    static bool equal(const void* a, const void* b) { return a == b; }
};

/// The registry's lookup table from a key to an entry: open addressing over a
/// power-of-two array kept at most half full and probed linearly, so a lookup is one
/// hash, one mask and mostly one comparison, with no division and no node to follow.
/// It is written while types register and only read after. Keys are kept, not copied:
/// a name or std::type_info must outlive the table, as literals and typeids do. Meant
/// for objects of static storage: constant-initialised and with no destructor, such a
/// table is empty before any static initialisation runs and is never torn down behind
/// a late reader's back; release() gives the memory back.
template <class Key, class Value>
class RegistryIndex {
public:
    /// The value under key, or nullptr (always nullptr before the first insert).
    Value* find(Key key) const {
        if (m_pSlots == nullptr) return nullptr;
        const std::uint64_t hash = RegistryKey<Key>::hash(key);
        for (size_t i = hash & m_mask;; i = (i + 1) & m_mask) {
            const Slot& slot = m_pSlots[i];
            if (slot.value == nullptr) return nullptr;
            if (slot.hash == hash && RegistryKey<Key>::equal(slot.key, key)) return slot.value;
        }
    }

    /// Adds value (not nullptr) under key; false, and nothing added, if key is taken.
    bool insert(Key key, Value* value) {
        if (find(key) != nullptr) return false;
        if (2 * (m_count + 1) > capacity()) grow();
        place({RegistryKey<Key>::hash(key), key, value});
        ++m_count;
        return true;
    }

    /// Forgets every key and frees the table.
    void release() {
        delete[] m_pSlots;
        m_pSlots = nullptr;
        m_mask = 0;
        m_count = 0;
    }

private:
    struct Slot {
        std::uint64_t hash;
        Key key;
        Value* value;  // nullptr marks a free slot
    };

    size_t capacity() const { return m_pSlots == nullptr ? 0 : m_mask + 1; }

    void place(const Slot& entry) {
        size_t i = entry.hash & m_mask;
        while (m_pSlots[i].value != nullptr) i = (i + 1) & m_mask;
        m_pSlots[i] = entry;
    }

    void grow() {
        const Slot* old = m_pSlots;
        const size_t oldCapacity = capacity();
        const size_t newCapacity = oldCapacity == 0 ? 64 : 2 * oldCapacity;
        m_pSlots = new Slot[newCapacity]();
        m_mask = newCapacity - 1;
        for (size_t i = 0; i < oldCapacity; ++i)
            if (old[i].value != nullptr) place(old[i]);
        delete[] old;
    }

    // Constant-initialised: a static table is empty before any code runs.
    Slot* m_pSlots = nullptr;  // nullptr until the first insert
    size_t m_mask = 0;         // capacity - 1
    size_t m_count = 0;
};

}  // namespace zarvo::exp
