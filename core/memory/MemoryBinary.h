#pragma once

// The byte form of every value: one field rule, one read cursor and one codec
// template per type family. Every form is packed, field behind field, with no
// type tag, no padding and no alignment.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <list>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <opencv2/core.hpp>

#include "valuefault/Exception.h"

namespace zarvo::exp {

/// Whether writers and readers reverse the bytes of each multi-byte field against
/// the host's order. Every test is a test against 0: any value other than swap
/// behaves as no_swap (the underlying int makes every such value a valid Endian).
/// On a little-endian host swap gives big-endian data.
///
/// The name swap clashes with std::swap where a file has both
/// <code>using namespace std;</code> and <code>using namespace zarvo::exp;</code>:
/// write zarvo::exp::swap there, or name the data's order with big_endian and
/// little_endian below.
enum Endian : int { swap = 0, no_swap = 1 };

/// The Endian that writes and reads big-endian data on this host.
inline constexpr Endian big_endian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? no_swap : swap;
/// The Endian that writes and reads little-endian data on this host.
inline constexpr Endian little_endian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? no_swap : swap;

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

/// Writes the 32-bit length or element count in front of a string or container;
/// one of 2^32 or more has no byte form and throws.
inline size_t writeCount(Endian endian, char* out, size_t count) {
    if (count > std::numeric_limits<std::uint32_t>::max())
        ZARVO_THROW("Too many elements for a byte form: " << count << " (at most 4294967295)");
    return writeField(endian, out, static_cast<std::uint32_t>(count));
}

/// Writes text in the form of a string, a 32-bit length and the bytes; returns 4 + its length.
inline size_t writeText(Endian endian, char* out, std::string_view text) {
    writeCount(endian, out, text.size());
    if (!text.empty()) std::memcpy(out + 4, text.data(), text.size());
    return 4 + text.size();
}

/// Copies count fields of width bytes (1, 2, 4 or 8) from in to out, reversing the
/// bytes of each: the swap form of a block of numbers. Vectorised for the processor
/// it runs on.
ZARVO_EXPORT void reverseFieldBytes(char* out, const char* in, size_t count, size_t width);

/// Iterates over packed host-order fields in a byte buffer, reading each one
/// unaligned. Filling a vector through it is one pass over the bytes, with no
/// zero-filling first.
template <class T>
class FieldIterator {
public:
    using iterator_category = std::forward_iterator_tag;  ///< Forward only.
    using value_type = T;                                 ///< One field.
    using difference_type = std::ptrdiff_t;               ///< A distance in fields.
    using pointer = const T*;                             ///< Unused: fields are read by value.
    using reference = T;                                  ///< A field, read by value.

    /// Points at the field that starts at bytes.
    explicit FieldIterator(const char* bytes) : m_pBytes(bytes) {}
    /// The field, copied out unaligned.
    T operator*() const {
        T value;
        std::memcpy(&value, m_pBytes, sizeof value);
        return value;
    }
    /// Moves to the next field.
    FieldIterator& operator++() {
        m_pBytes += sizeof(T);
        return *this;
    }
    /// Moves to the next field; returns the position before.
    FieldIterator operator++(int) {
        FieldIterator before = *this;
        m_pBytes += sizeof(T);
        return before;
    }
    /// Same position.
    bool operator==(const FieldIterator& other) const { return m_pBytes == other.m_pBytes; }
    /// Not the same position.
    bool operator!=(const FieldIterator& other) const { return m_pBytes != other.m_pBytes; }

private:
    const char* m_pBytes;
};

/// Writes count fields behind each other in one pass.
template <class T>
size_t writeFields(Endian endian, char* out, const T* values, size_t count) {
    if (endian == swap) reverseFieldBytes(out, reinterpret_cast<const char*>(values), count, sizeof(T));
    else if (count != 0) std::memcpy(out, values, count * sizeof(T));
    return count * sizeof(T);
}

/// The read position of every byte reader: where the value started, how far it has
/// been read, and how many bytes there are. An unbounded cursor leaves that open and
/// believes every count; a bounded one refuses to hand out bytes past its end.
class ZARVO_EXPORT Cursor {
public:
    /// A cursor over a complete value whose length the caller vouches for.
    Cursor(Endian endian, const char* data)
        : m_endian(endian), m_pBegin(data), m_pPos(data), m_limit(std::numeric_limits<size_t>::max()) {}
    /// A cursor that throws rather than read past data + available.
    Cursor(Endian endian, const char* data, size_t available)
        : m_endian(endian), m_pBegin(data), m_pPos(data), m_limit(available) {}

    /// The byte order switch of the value being read.
    Endian endian() const { return m_endian; }
    /// Bytes read so far.
    size_t consumed() const { return static_cast<size_t>(m_pPos - m_pBegin); }
    /// Bytes left before the end (for an open cursor, more than any input holds).
    size_t remaining() const { return m_limit - consumed(); }
    /// Whether the cursor knows where its input ends.
    bool bounded() const { return m_limit != std::numeric_limits<size_t>::max(); }

    /// Checks that n more bytes are there; the one place a bounded cursor refuses input.
    void require(size_t n) const {
        if (n > remaining())
            ZARVO_THROW("Input ends before the value does: " << n << " more bytes needed at offset " << consumed()
                                                             << ", " << remaining() << " left");
    }

    /// Checks that count elements of at least minSize bytes each can be there, before
    /// anything is allocated for them.
    void requireElements(size_t count, size_t minSize) const {
        if (minSize != 0 && count > remaining() / minSize)
            ZARVO_THROW("Input ends before the value does: " << count << " elements of at least " << minSize
                                                             << " bytes announced at offset " << consumed() << ", "
                                                             << remaining() << " bytes left");
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

    /// Reads a 32-bit length and hands out that many bytes where they lie: a string's
    /// form seen without copying it.
    std::string_view text() {
        const std::uint32_t length = field<std::uint32_t>();
        return {take(length), length};
    }

    /// Replaces values by count fields: the counterpart of writeFields. The bytes
    /// are claimed before the vector grows, so a bad count cannot make it huge.
    template <class T>
    void fields(std::vector<T>& values, size_t count) {
        const char* in = take(count * sizeof(T));
        if (m_endian == swap) {
            values.resize(count);
            reverseFieldBytes(reinterpret_cast<char*>(values.data()), in, count, sizeof(T));
        } else {
            values.assign(FieldIterator<T>(in), FieldIterator<T>(in + count * sizeof(T)));
        }
    }

private:
    Endian m_endian;
    const char* m_pBegin;
    const char* m_pPos;
    size_t m_limit;  // bytes readable from m_pBegin on; the largest size_t when open
};

/// Writes value at data, which must have room for sizeofT(value) bytes, and
/// returns the number of bytes written.
template <class T>
size_t serializeT(Endian endian, char* data, const T& value);

/// Reads one value at the cursor into value. Every reader of a value nested in
/// another form comes through here, so a type's byte-order refusal applies there too.
template <class T>
void deserializeT(Cursor& in, T& value);

/// The byte codec of one type family. A specialisation offers
///   static constexpr bool available, swappable;
///   static constexpr size_t minSize;                    // the smallest form of any value
///   static size_t size(const T&);                       // exact bytes write() will use
///   static size_t write(Endian, char*, const T&);       // returns the bytes written
///   static void read(Cursor&, T&);                      // fills an existing value
/// and may offer, to be read by value rather than filled in (see readValue),
///   static T make(Cursor&);
/// A family that exists only in host order also names its refusal:
///   static constexpr const char* noSwapMessage;
/// The primary template is a type with no byte form.
template <class T, class Enable = void>
struct Binary {
    static constexpr bool available = false;  ///< No byte form.
    static constexpr bool swappable = false;  ///< No byte order either.
};

/// Scalars: the field rule.
template <class T>
struct Binary<T, std::enable_if_t<std::is_arithmetic_v<T>>> {
    static constexpr bool available = true;       ///< Every scalar has one.
    static constexpr bool swappable = true;       ///< In both byte orders.
    static constexpr size_t minSize = sizeof(T);  ///< The field's width.
    /// The field's width (a bool is one byte).
    static size_t size(const T&) { return sizeof(T); }
    /// The field; a bool as one byte 0 or 1.
    static size_t write(Endian endian, char* out, const T& value) {
        if constexpr (std::is_same_v<T, bool>) return writeField<unsigned char>(endian, out, value ? 1 : 0);
        else return writeField(endian, out, value);
    }
    /// The field; a bool is true for any non-zero byte.
    static void read(Cursor& in, T& value) { value = in.field<T>(); }
};

/// A 32-bit length followed by the bytes, which are never reversed.
template <>
struct Binary<std::string> {
    static constexpr bool available = true;  ///< Strings have one.
    static constexpr bool swappable = true;  ///< The length follows the byte order.
    static constexpr size_t minSize = 4;     ///< The length alone.
    /// 4 + the length.
    static size_t size(const std::string& value) { return 4 + value.size(); }
    /// The length, then the bytes.
    static size_t write(Endian endian, char* out, const std::string& value) { return writeText(endian, out, value); }
    /// Replaces value by the bytes the length announces.
    static void read(Cursor& in, std::string& value) { value.assign(in.text()); }
};

/// Whether T has the bounded record reader deserialize(endian, data, available, size).
template <class T, class = void>
struct HasBoundedDeserialize : std::false_type {};
template <class T>
struct HasBoundedDeserialize<
    T, std::void_t<decltype(T::deserialize(no_swap, std::declval<const char*>(), size_t{}, std::declval<size_t&>()))>>
    : std::true_type {};

/// Types that follow the record convention (serialize, static deserialize,
/// sizeofType) need nothing else to have a byte form. A bounded cursor reads such a
/// record through its bounded deserialize(endian, data, available, size); a record
/// that has only the unbounded form is refused there, since it could read past the end.
template <class T>
struct Binary<T, std::void_t<decltype(std::declval<const T&>().serialize(no_swap, std::declval<char*>())),
                             decltype(T::deserialize(no_swap, std::declval<const char*>(), std::declval<size_t&>())),
                             decltype(std::declval<const T&>().sizeofType())>> {
    static constexpr bool available = true;  ///< Through the record's members.
    static constexpr bool swappable = true;  ///< The record handles the byte order.
    static constexpr size_t minSize = 1;     ///< Unknown: at least a byte.
    /// value.sizeofType().
    static size_t size(const T& value) { return value.sizeofType(); }
    /// value.serialize(endian, out).
    static size_t write(Endian endian, char* out, const T& value) { return value.serialize(endian, out); }
    /// T::deserialize at the cursor, bounded when the cursor is: the record as its
    /// reader made it.
    static T make(Cursor& in) {
        size_t used = 0;
        if (!in.bounded()) {
            T value = T::deserialize(in.endian(), in.take(0), used);
            in.take(used);
            return value;
        } else if constexpr (HasBoundedDeserialize<T>::value) {
            T value = T::deserialize(in.endian(), in.take(0), in.remaining(), used);
            in.take(used);
            return value;
        } else {
            ZARVO_THROW("type '" << zarvo::Exception::typeName(typeid(T)) << "' has no bounded byte reader");
        }
    }
    /// Replaces value by make(in).
    static void read(Cursor& in, T& value) { value = make(in); }
};

/// Vectors and lists: a 32-bit element count followed by the elements, each in its
/// own form. A vector of plain numbers is one block.
template <class Sequence>
struct SequenceBinary {
    using Element = typename Sequence::value_type;  ///< The element type.
    /// The elements are written and read as one block of fields.
    static constexpr bool block = std::is_arithmetic_v<Element> && !std::is_same_v<Element, bool> &&
                                  std::is_same_v<Sequence, std::vector<Element>>;
    static constexpr bool available = Binary<Element>::available;  ///< As the element's.
    static constexpr bool swappable = Binary<Element>::swappable;  ///< As the element's.
    static constexpr size_t minSize = 4;                           ///< The count alone.

    /// 4 + the size of every element.
    static size_t size(const Sequence& values) {
        if constexpr (std::is_arithmetic_v<Element>) {
            return 4 + values.size() * sizeof(Element);
        } else {
            size_t total = 4;
            for (const Element& value : values) total += Binary<Element>::size(value);
            return total;
        }
    }

    /// The count, then the elements.
    static size_t write(Endian endian, char* out, const Sequence& values) {
        size_t used = writeCount(endian, out, values.size());
        if constexpr (block) {
            used += writeFields(endian, out + used, values.data(), values.size());
        } else {
            for (const Element& value : values) used += serializeT(endian, out + used, value);
        }
        return used;
    }

    /// Replaces values by the elements the count announces.
    static void read(Cursor& in, Sequence& values) {
        const std::uint32_t count = in.field<std::uint32_t>();
        if constexpr (block) {
            in.fields(values, count);
        } else {
            // Elements are added as they are read, never sized ahead from the count
            // alone. The first one is read before the count is checked against the
            // input, so an element type that refuses the byte order says so first.
            values.clear();
            for (std::uint32_t i = 0; i < count; ++i) {
                Element value{};
                deserializeT(in, value);
                values.push_back(std::move(value));
                if (i == 0) in.requireElements(count - 1, Binary<Element>::minSize);
                // Reserved only as far as the input could hold elements of their size
                // in memory, so a bad count further on fails without a huge allocation.
                if constexpr (std::is_same_v<Sequence, std::vector<Element>>)
                    if (i == 0 && in.bounded())
                        values.reserve(std::min<size_t>(count, 1 + in.remaining() / sizeof(Element)));
            }
        }
    }
};

template <class E>
struct Binary<std::vector<E>> : SequenceBinary<std::vector<E>> {};
template <class E>
struct Binary<std::list<E>> : SequenceBinary<std::list<E>> {};

/// A list of matrices has no byte form.
template <>
struct Binary<std::list<cv::Mat>> {
    static constexpr bool available = false;  ///< No byte form.
    static constexpr bool swappable = false;  ///< No byte order either.
};

/// The OpenCV geometry types: their int fields in the given order, host order only.
template <class T, int T::*... fields>
struct GeometryBinary {
    static constexpr bool available = true;                   ///< Geometry types have one.
    static constexpr bool swappable = false;                  ///< Host order only.
    static constexpr size_t minSize = 4 * sizeof...(fields);  ///< 4 bytes per field.
    /// 4 bytes per field.
    static size_t size(const T&) { return 4 * sizeof...(fields); }
    /// The fields in host order.
    static size_t write(Endian, char* out, const T& value) {
        size_t used = 0;
        ((used += writeField(no_swap, out + used, value.*fields)), ...);
        return used;
    }
    /// The fields in host order.
    static void read(Cursor& in, T& value) { ((value.*fields = in.field<int>()), ...); }
};

/// A point: x, y.
template <>
struct Binary<cv::Point_<int>> : GeometryBinary<cv::Point_<int>, &cv::Point_<int>::x, &cv::Point_<int>::y> {
    /// The refusal of swap.
    static constexpr const char* noSwapMessage = "cv::Point only serializable for no_swap endianes";
};
/// A size: width, height.
template <>
struct Binary<cv::Size_<int>> : GeometryBinary<cv::Size_<int>, &cv::Size_<int>::width, &cv::Size_<int>::height> {
    /// The refusal of swap.
    static constexpr const char* noSwapMessage = "cv::Size only serializable for no_swap endianes";
};
/// A rectangle: x, y, width, height.
template <>
struct Binary<cv::Rect_<int>> : GeometryBinary<cv::Rect_<int>, &cv::Rect_<int>::x, &cv::Rect_<int>::y,
                                               &cv::Rect_<int>::width, &cv::Rect_<int>::height> {
    /// The refusal of swap.
    static constexpr const char* noSwapMessage = "cv::Rect only serializable for no_swap endianes";
};

/// A matrix: dims, its sizes, depth, channels, bytes per channel value, then the
/// pixels in one block. A matrix that is not continuous (a region of another) is
/// written as its continuous copy would be, so reading gives a matrix equal in
/// content to the region. A matrix read back has a continuous buffer of its own.
/// The reader checks the header before it allocates: at most 32 dimensions, no
/// negative size, depth 0 to 7, 1 to 512 channels, a byte size that fits.
///
/// The header and the pixel block can also travel apart: writeHeader() and
/// readHeader() handle the header alone, so that the pixels go out of, or come into,
/// a buffer of their own (a message part, a numpy array) without being copied.
template <>
struct ZARVO_EXPORT Binary<cv::Mat> {
    static constexpr bool available = true;   ///< Matrices have one.
    static constexpr bool swappable = false;  ///< Host order only.
    static constexpr size_t minSize = 16;     ///< The header of a matrix without dimensions.
    static constexpr int maxDims = 32;        ///< OpenCV's limit on the number of dimensions.
    /// The refusal of swap.
    static constexpr const char* noSwapMessage = "Mat only serializable for no_swap endianes";

    /// What a header says: all it takes to make a matrix, or to wrap one around
    /// pixels that arrive apart from the header.
    struct ZARVO_EXPORT Header {
        int dims = 0;             ///< The number of dimensions, 0 to maxDims.
        int sizes[maxDims] = {};  ///< size[0] to size[dims - 1], none negative.
        int type = 0;             ///< The OpenCV type: depth and channels.
        size_t pixelBytes = 0;    ///< The bytes of the pixel block behind the header.

        /// A matrix of this shape over pixels, which it neither copies nor owns; throws
        /// unless size is pixelBytes. An empty matrix when dims is 0.
        cv::Mat wrap(void* pixels, size_t size) const;
    };

    /// 16 + 4 per dimension + the pixel bytes.
    static size_t size(const cv::Mat& value);
    /// The header, then the pixels in one block.
    static size_t write(Endian endian, char* out, const cv::Mat& value);
    /// Replaces value by a new matrix, after checking the header.
    static void read(Cursor& in, cv::Mat& value);

    /// The header's bytes: 16 + 4 per dimension.
    static size_t headerSize(const cv::Mat& value);
    /// The pixel block's bytes: elements times the bytes of one element; 0 without dimensions.
    static size_t pixelSize(const cv::Mat& value);
    /// Writes the header (host order, the only one) at out; returns headerSize(value).
    static size_t writeHeader(char* out, const cv::Mat& value);
    /// Reads and checks a header at the cursor, leaving it at the first pixel byte;
    /// the pixels themselves need not be there. Refuses a cursor in swap.
    static Header readHeader(Cursor& in);
};

/// Whether T's codec refuses swap with a message of its own.
template <class T, class = void>
struct HasNoSwapMessage : std::false_type {};
template <class T>
struct HasNoSwapMessage<T, std::void_t<decltype(Binary<T>::noSwapMessage)>> : std::true_type {};

template <class T>
size_t serializeT(Endian endian, char* data, const T& value) {
    static_assert(Binary<T>::available, "this type has no byte form");
    if constexpr (HasNoSwapMessage<T>::value)
        if (endian == swap) ZARVO_THROW(Binary<T>::noSwapMessage);
    return Binary<T>::write(endian, data, value);
}

template <class T>
void deserializeT(Cursor& in, T& value) {
    static_assert(Binary<T>::available, "this type has no byte form");
    if constexpr (HasNoSwapMessage<T>::value)
        if (in.endian() == swap) ZARVO_THROW(Binary<T>::noSwapMessage);
    Binary<T>::read(in, value);
}

/// What read(in) returns, with the bytes it used stored in size: the body of every
/// pair of readers, open and bounded, which differ only in their cursor.
template <class Read>
auto readFrom(Cursor in, size_t& size, Read read) {
    auto value = read(in);
    size = in.consumed();
    return value;
}

/// Whether T's codec makes a value of its own (records) rather than fill one in.
template <class T, class = void>
struct HasMake : std::false_type {};
template <class T>
struct HasMake<T, std::void_t<decltype(Binary<T>::make(std::declval<Cursor&>()))>> : std::true_type {};

/// The value of type T at the cursor. A record comes back as its reader made it,
/// never assigned into a default one: a record that can only be copied (a storage)
/// would otherwise be copied whole.
template <class T>
T readValue(Cursor& in) {
    if constexpr (HasMake<T>::value) {
        return Binary<T>::make(in);
    } else {
        T value{};
        deserializeT(in, value);
        return value;
    }
}

/// Reads one value from data, which must hold a complete one, and stores the
/// number of bytes used in size (overwriting it).
template <class T>
T deserializeT(Endian endian, const char* data, size_t& size) {
    return readFrom(Cursor(endian, data), size, readValue<T>);
}

/// As above, but never reads past data + available: an input that ends too early
/// throws a zarvo::Exception instead.
template <class T>
T deserializeT(Endian endian, const char* data, size_t available, size_t& size) {
    return readFrom(Cursor(endian, data, available), size, readValue<T>);
}

/// The exact number of bytes serializeT writes for value.
template <class T>
size_t sizeofT(const T& value) {
    static_assert(Binary<T>::available, "this type has no byte form");
    return Binary<T>::size(value);
}

/// Whether T is a record: the byte form members and a text form, toString().
template <class T, class = void>
struct IsRecord : std::false_type {};
template <class T>
struct IsRecord<T, std::void_t<decltype(std::declval<const T&>().serialize(no_swap, std::declval<char*>())),
                               decltype(std::declval<const T&>().sizeofType()),
                               decltype(std::string(std::declval<const T&>().toString()))>> : std::true_type {};

}  // namespace Memory

class MarkedFloat;

/// Writes a record's text form, its toString(), to a stream: what a record of this
/// library (and of a caller, in namespace zarvo::exp) gives to <<. MarkedFloat keeps
/// its own operator, which writes the number as the stream is set up to.
template <class R, std::enable_if_t<Memory::IsRecord<R>::value && !std::is_same_v<R, MarkedFloat>, int> = 0>
std::ostream& operator<<(std::ostream& stream, const R& record) {
    return stream << record.toString();
}

}  // namespace zarvo::exp

namespace zarvo {
// MaterialNumber lives here; argument lookup finds the records' << through this.
using exp::operator<<;
}  // namespace zarvo
