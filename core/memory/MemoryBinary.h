#pragma once

// The byte form of every value: one field rule, one read cursor and one codec
// template per type family. Every form is packed, field behind field, with no
// type tag, no padding and no alignment.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

#include "valuefault/Exception.h"

namespace zarvo::exp {

/// Whether writers and readers reverse the bytes of each multi-byte field against
/// the host's order. Every test is a test against 0: any value other than swap
/// behaves as no_swap. On a little-endian host swap gives big-endian data.
enum Endian { swap = 0, no_swap = 1 };

namespace Memory {

/// The value with its bytes in reverse order; a 1-byte value is returned as it is.
template <class T>
T byteSwapped(T value) {
    static_assert(std::is_trivially_copyable_v<T>, "only plain fields have a byte order");
    if constexpr (sizeof(T) == 1) {
        return value;
    } else {
        using Word = std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                        std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>;
        static_assert(sizeof(Word) == sizeof(T), "fields are 1, 2, 4 or 8 bytes wide");
        Word word;
        std::memcpy(&word, &value, sizeof word);
        if constexpr (sizeof(T) == 2) word = __builtin_bswap16(word);
        else if constexpr (sizeof(T) == 4) word = __builtin_bswap32(word);
        else word = __builtin_bswap64(word);
        std::memcpy(&value, &word, sizeof value);
        return value;
    }
}

/// Writes one field at out in host order, reversed when endian is swap; returns its width.
template <class T>
size_t writeField(Endian endian, char* out, T value) {
    if (endian == swap) value = byteSwapped(value);
    std::memcpy(out, &value, sizeof value);
    return sizeof value;
}

/// Writes count fields behind each other: one block copy for no_swap, one
/// vectorisable loop for swap.
template <class T>
size_t writeFields(Endian endian, char* out, const T* values, size_t count) {
    if (endian != swap) {
        if (count != 0) std::memcpy(out, values, count * sizeof(T));
    } else {
        for (size_t i = 0; i < count; ++i) {
            const T swapped = byteSwapped(values[i]);
            std::memcpy(out + i * sizeof(T), &swapped, sizeof(T));
        }
    }
    return count * sizeof(T);
}

/// The read position of every byte reader: where the value started, how far it has
/// been read, and where the input ends. An unbounded cursor leaves the end open and
/// believes every count; a bounded one refuses to hand out bytes past its end.
class Cursor {
public:
    /// A cursor over a complete value whose length the caller vouches for.
    Cursor(Endian endian, const char* data) : m_endian(endian), m_pBegin(data), m_pPos(data), m_pEnd(nullptr) {}
    /// A cursor that throws rather than read past data + available.
    Cursor(Endian endian, const char* data, size_t available)
        : m_endian(endian), m_pBegin(data), m_pPos(data), m_pEnd(data + available) {}

    /// The byte order switch of the value being read.
    Endian endian() const { return m_endian; }
    /// Bytes read so far.
    size_t consumed() const { return static_cast<size_t>(m_pPos - m_pBegin); }

    /// Checks that n more bytes are there; the one place a bounded cursor refuses input.
    void require(size_t n) const {
        if (m_pEnd != nullptr && n > static_cast<size_t>(m_pEnd - m_pPos))
            ZARVO_THROW("Input ends before the value does: " << n << " more bytes needed at offset "
                                                             << consumed() << ", "
                                                             << (m_pEnd - m_pPos) << " left");
    }

    /// Hands out the next n bytes and moves past them.
    const char* take(size_t n) {
        require(n);
        const char* bytes = m_pPos;
        m_pPos += n;
        return bytes;
    }

    /// Reads one field by the field rule; a bool is true for any non-zero byte.
    template <class T>
    T field() {
        if constexpr (std::is_same_v<T, bool>) {
            return field<unsigned char>() != 0;
        } else {
            T value;
            std::memcpy(&value, take(sizeof value), sizeof value);
            return m_endian == swap ? byteSwapped(value) : value;
        }
    }

    /// Replaces values by count fields: the counterpart of writeFields. The bytes
    /// are claimed before the vector grows, so a bad count cannot make it huge.
    template <class T>
    void fields(std::vector<T>& values, size_t count) {
        const char* in = take(count * sizeof(T));
        values.resize(count);
        if (count == 0) return;
        std::memcpy(values.data(), in, count * sizeof(T));
        if (m_endian == swap)
            for (T& value : values) value = byteSwapped(value);
    }

private:
    Endian m_endian;
    const char* m_pBegin;
    const char* m_pPos;
    const char* m_pEnd;
};

/// The byte codec of one type family. A specialisation offers
///   static constexpr bool available, swappable;
///   static size_t size(const T&);                       // exact bytes write() will use
///   static size_t write(Endian, char*, const T&);       // returns the bytes written
///   static void read(Cursor&, T&);                      // fills an existing value
/// The primary template is a type with no byte form.
template <class T, class Enable = void>
struct Binary {
    static constexpr bool available = false;
    static constexpr bool swappable = false;
};

/// Scalars: the field rule.
template <class T>
struct Binary<T, std::enable_if_t<std::is_arithmetic_v<T>>> {
    static constexpr bool available = true;
    static constexpr bool swappable = true;
    static size_t size(const T&) { return sizeof(T); }
    static size_t write(Endian endian, char* out, const T& value) {
        if constexpr (std::is_same_v<T, bool>) return writeField<unsigned char>(endian, out, value ? 1 : 0);
        else return writeField(endian, out, value);
    }
    static void read(Cursor& in, T& value) { value = in.field<T>(); }
};

/// A 32-bit length followed by the bytes, which are never reversed.
template <>
struct Binary<std::string> {
    static constexpr bool available = true;
    static constexpr bool swappable = true;
    static size_t size(const std::string& value) { return 4 + value.size(); }
    static size_t write(Endian endian, char* out, const std::string& value) {
        writeField(endian, out, static_cast<std::uint32_t>(value.size()));
        if (!value.empty()) std::memcpy(out + 4, value.data(), value.size());
        return 4 + value.size();
    }
    static void read(Cursor& in, std::string& value) {
        const std::uint32_t length = in.field<std::uint32_t>();
        value.assign(in.take(length), length);
    }
};

/// Types that follow the record convention (serialize, static deserialize,
/// sizeofType) need nothing else to have a byte form.
template <class T>
struct Binary<T, std::void_t<decltype(std::declval<const T&>().serialize(no_swap, std::declval<char*>())),
                             decltype(T::deserialize(no_swap, std::declval<const char*>(), std::declval<size_t&>())),
                             decltype(std::declval<const T&>().sizeofType())>> {
    static constexpr bool available = true;
    static constexpr bool swappable = true;
    static size_t size(const T& value) { return value.sizeofType(); }
    static size_t write(Endian endian, char* out, const T& value) { return value.serialize(endian, out); }
    static void read(Cursor& in, T& value) {
        size_t used = 0;
        // The record reads from the current position on its own terms; the cursor
        // then moves past what it used.
        const char* at = in.take(0);
        value = T::deserialize(in.endian(), at, used);
        in.take(used);
    }
};

/// Vectors and lists: a 32-bit element count followed by the elements, each in its
/// own form. A vector of plain numbers is one block.
template <class Sequence>
struct SequenceBinary {
    using Element = typename Sequence::value_type;
    static constexpr bool block = std::is_arithmetic_v<Element> && !std::is_same_v<Element, bool> &&
                                  std::is_same_v<Sequence, std::vector<Element>>;
    static constexpr bool available = Binary<Element>::available;
    static constexpr bool swappable = Binary<Element>::swappable;

    static size_t size(const Sequence& values) {
        if constexpr (std::is_arithmetic_v<Element>) {
            return 4 + values.size() * sizeof(Element);
        } else {
            size_t total = 4;
            for (const Element& value : values) total += Binary<Element>::size(value);
            return total;
        }
    }

    static size_t write(Endian endian, char* out, const Sequence& values) {
        size_t used = writeField(endian, out, static_cast<std::uint32_t>(values.size()));
        if constexpr (block) {
            used += writeFields(endian, out + used, values.data(), values.size());
        } else {
            for (const Element& value : values) used += Binary<Element>::write(endian, out + used, value);
        }
        return used;
    }

    static void read(Cursor& in, Sequence& values) {
        const std::uint32_t count = in.field<std::uint32_t>();
        if constexpr (block) {
            in.fields(values, count);
        } else {
            in.require(count);  // every element takes at least one byte
            values.resize(count);
            for (auto it = values.begin(); it != values.end(); ++it) {
                if constexpr (std::is_same_v<Element, bool>) {
                    bool value = false;  // std::vector<bool> hands out proxies, not references
                    Binary<bool>::read(in, value);
                    *it = value;
                } else {
                    Binary<Element>::read(in, *it);
                }
            }
        }
    }
};

template <class E>
struct Binary<std::vector<E>> : SequenceBinary<std::vector<E>> {};
template <class E>
struct Binary<std::list<E>> : SequenceBinary<std::list<E>> {};

/// Writes value at data and returns the number of bytes written; data must have
/// room for sizeofT(value) bytes.
template <class T>
size_t serializeT(Endian endian, char* data, const T& value) {
    static_assert(Binary<T>::available, "this type has no byte form");
    return Binary<T>::write(endian, data, value);
}

/// Reads one value from data, which must hold a complete one, and stores the
/// number of bytes used in size (overwriting it).
template <class T>
T deserializeT(Endian endian, const char* data, size_t& size) {
    static_assert(Binary<T>::available, "this type has no byte form");
    Cursor in(endian, data);
    T value{};
    Binary<T>::read(in, value);
    size = in.consumed();
    return value;
}

/// As above, but never reads past data + available: an input that ends too early
/// throws a zarvo::Exception instead.
template <class T>
T deserializeT(Endian endian, const char* data, size_t available, size_t& size) {
    static_assert(Binary<T>::available, "this type has no byte form");
    Cursor in(endian, data, available);
    T value{};
    Binary<T>::read(in, value);
    size = in.consumed();
    return value;
}

/// The exact number of bytes serializeT writes for value.
template <class T>
size_t sizeofT(const T& value) {
    static_assert(Binary<T>::available, "this type has no byte form");
    return Binary<T>::size(value);
}

}  // namespace Memory
}  // namespace zarvo::exp
