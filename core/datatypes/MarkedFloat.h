#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <type_traits>

#include "core/memory/MemoryBinary.h"

// The stream operators are declared ahead only so that the class can befriend them;
// they are documented with the class's other free functions below it.
namespace zarvo::exp {
class MarkedFloat;
}
ZARVO_EXPORT std::istream& operator>>(std::istream& stream, zarvo::exp::MarkedFloat& value);
ZARVO_EXPORT std::ostream& operator<<(std::ostream& stream, const zarvo::exp::MarkedFloat& value);

namespace zarvo::exp {

/// A measured float that carries its validity mark in its three lowest mantissa bits,
/// so it is exactly one 32-bit word and travels through any float buffer unchanged.
///
/// Bits 2..0: bit 0 clear is valid (bits 2 and 1 are then ordinary mantissa bits);
/// 001 other mark, 011 underrange, 101 overrange, 111 invalid, and 111 on a NaN is
/// empty. The mark bits stay part of the float: toFloat() and arithmetic see them.
///
/// Arithmetic runs on the raw floats and then marks the result. A marked left operand
/// passes its mark on, a valid one gives a valid result. With a MarkedFloat on the
/// right the two marks are ORed bit by bit (under | over = invalid); for - and / the
/// right mark is mirrored first (under <-> over), because taking away a value that is
/// too low gives a result that is too high. Comparisons ignore the marks.
///
/// The stream operators live at global scope: code inside a namespace that declares
/// an operator>> or operator<< of its own reaches them with <code>using \::operator>>;</code>.
class ZARVO_EXPORT MarkedFloat {
public:
    /// The mark the two-argument constructor writes. The underlying type is fixed so
    /// that any number cast to it is a legal argument: numbers that name no member
    /// (2, 6, above 7, negative) leave the float's bits as they are.
    enum MarkedFloatValidity : int { Valid = 0, OtherMark = 1, Underrange = 3, Legacy = 4, Overrange = 5, Invalid = 7 };

    /// The empty value (0x7FC00007, a quiet NaN with mark 111), not zero.
    MarkedFloat() : m_word(kEmptyWord) {}
    /// value with a mark: Valid clears bit 0, the marks rewrite bits 2..0, Legacy reads
    /// value as a legacy code with overrange and underrange at the ends of the float range.
    MarkedFloat(float value, MarkedFloatValidity validity);

    /// Bit 0 is clear.
    bool isValid() const { return (m_word & kMarkedBit) == 0; }
    /// Any mark at all: the negation of isValid.
    bool isInvalid() const { return !isValid(); }
    /// Mark 111 on a NaN (all exponent bits set, mantissa not zero).
    bool isEmpty() const { return mark() == Invalid && (m_word & ~kSignBit) > kInfinityWord; }
    /// Mark 011.
    bool isUnderrange() const { return mark() == Underrange; }
    /// Mark 101.
    bool isOverrange() const { return mark() == Overrange; }
    /// Mark 001.
    bool isOtherMark() const { return mark() == OtherMark; }

    /// Clears bit 0 only: an underrange 011 becomes a valid word ending in 010.
    void setValid() { m_word &= ~kMarkedBit; }
    /// Writes mark 001.
    void setOtherMark() { setMark(OtherMark); }
    /// Writes mark 011.
    void setUnderrange() { setMark(Underrange); }
    /// Writes mark 101.
    void setOverrange() { setMark(Overrange); }
    /// Writes mark 111 (on a NaN that makes the value empty).
    void setInvalid() { setMark(Invalid); }
    /// Replaces the whole word by the empty value.
    void setEmpty() { m_word = kEmptyWord; }

    /// The word as a float, mark bits included.
    float toFloat() const { return floatOf(m_word); }
    /// A plain float whatever the mark: the value when valid or other mark, else the
    /// stand-in for underrange, overrange or invalid/empty.
    float toClippedFloat(float underrange, float overrange, float invalid) const {
        switch (mark()) {
            case Underrange: return underrange;
            case Overrange: return overrange;
            case Invalid: return invalid;
            default: return toFloat();
        }
    }
    /// The codes of the legacy form, whole-word bit patterns (tiny denormals) that
    /// stood in place of a number for each state; 0x83 and all ones are never written.
    struct LegacyCode {
        static constexpr std::uint32_t Overrange = 0x81u;      ///< Overrange.
        static constexpr std::uint32_t Underrange = 0x82u;     ///< Underrange.
        static constexpr std::uint32_t Unused = 0x83u;         ///< Never written; read as empty.
        static constexpr std::uint32_t Invalid = 0x84u;        ///< Invalid.
        static constexpr std::uint32_t Empty = 0x85u;          ///< Empty.
        static constexpr std::uint32_t OtherMark = 0x8Au;      ///< Other mark.
        static constexpr std::uint32_t AllOnes = 0xFFFFFFFFu;  ///< Never written; read as empty.
    };
    /// The value in the legacy form: a valid float as it is, a mark as its LegacyCode.
    float toLegacy() const;
    /// Replaces the whole value by a legacy float. Overrange and underrange keep the tiny
    /// code with their mark, the other codes (and 0x83, 0xFFFFFFFF) read as empty, so
    /// other mark does not survive the trip; any other float becomes valid.
    void fromLegacy(float legacy);
    /// Clears bit 0, then marks the value underrange below minimum and overrange above
    /// maximum (both inclusive bounds; a NaN passes). True if neither mark was written.
    /// Throws a plain const char* "Minimum greater than maximum." and leaves the value
    /// untouched when minimum > maximum.
    bool checkRange(float minimum, float maximum);

    /// The raw float in six significant digits ("nan", "inf" as the stream writes them)
    /// with every label: " (Empty)", " (Underrange)", " (Overrange)", " (OtherMark)",
    /// " (Invalid)".
    std::string toString() const;
    /// A valid value read from the leading number of text (hexadecimal if text holds
    /// an x or X); labels and anything else behind the number are ignored.
    static MarkedFloat fromString(const std::string& text);

    /// Writes the word, marks included, as 4 bytes in the order endian says; returns 4.
    size_t serialize(Endian endian, char* data) const { return Memory::serializeT(endian, data, m_word); }
    /// Takes 4 bytes as the word, unchecked; size becomes 4.
    static MarkedFloat deserialize(Endian endian, const char* data, size_t& size) {
        return fromWord(Memory::deserializeT<std::uint32_t>(endian, data, size));
    }
    /// As above, but throws a zarvo::Exception when fewer than 4 bytes are available.
    static MarkedFloat deserialize(Endian endian, const char* data, size_t available, size_t& size) {
        return fromWord(Memory::deserializeT<std::uint32_t>(endian, data, available, size));
    }
    /// The size of the byte form: 4.
    size_t sizeofType() const { return sizeof m_word; }

    /// f of the raw float, carrying this value's mark (a valid value gives a valid
    /// result): the way to run functions of one value such as std::sqrt.
    template <class Function>
    MarkedFloat apply(Function f) const {
        return withMark(f(toFloat()), m_word);
    }

// Each comparison compares the floats with bits 2..0 cleared on both sides, a plain
// float too, by IEEE rules: a NaN makes all false but !=, so an empty value is not
// equal to itself.
#define ZARVO_MARKED_FLOAT_COMPARISON(op)                                                       \
    bool operator op(const MarkedFloat& other) const { return unmarked() op other.unmarked(); } \
    bool operator op(const float& other) const { return unmarked() op fromWord(wordOf(other)).unmarked(); }

    /// Value comparisons that ignore the marks.
    ZARVO_MARKED_FLOAT_COMPARISON(==)
    ZARVO_MARKED_FLOAT_COMPARISON(!=)
    ZARVO_MARKED_FLOAT_COMPARISON(<)
    ZARVO_MARKED_FLOAT_COMPARISON(<=)
    ZARVO_MARKED_FLOAT_COMPARISON(>)
    ZARVO_MARKED_FLOAT_COMPARISON(>=)
#undef ZARVO_MARKED_FLOAT_COMPARISON

// One operator family: the binary form with a float or a MarkedFloat on the right and
// the compound forms with float, double and MarkedFloat. rightMark gives the mark bits
// a MarkedFloat right operand contributes (asIs or mirrored). A double is first
// rounded to float: the arithmetic is single precision throughout.
#define ZARVO_MARKED_FLOAT_ARITHMETIC(op, opAssign, rightMark)                                                 \
    MarkedFloat operator op(const float& other) const { return withMark(toFloat() op other, m_word); }         \
    MarkedFloat operator op(const MarkedFloat& other) const {                                                  \
        return withMark(toFloat() op other.toFloat(), m_word | rightMark(other.m_word));                       \
    }                                                                                                          \
    MarkedFloat& operator opAssign(const float& other) { return *this = *this op other; }                      \
    MarkedFloat& operator opAssign(const double& other) { return *this = *this op static_cast<float>(other); } \
    MarkedFloat& operator opAssign(const MarkedFloat& other) { return *this = *this op other; }

    /// Sum; a MarkedFloat operand's mark is ORed in.
    ZARVO_MARKED_FLOAT_ARITHMETIC(+, +=, asIs)
    /// Product; a MarkedFloat operand's mark is ORed in.
    ZARVO_MARKED_FLOAT_ARITHMETIC(*, *=, asIs)
    /// Difference; a MarkedFloat operand's mark is mirrored, then ORed in.
    ZARVO_MARKED_FLOAT_ARITHMETIC(-, -=, mirrored)
    /// Quotient; a MarkedFloat operand's mark is mirrored, then ORed in. A zero divisor
    /// gives the IEEE result with the marks as usual.
    ZARVO_MARKED_FLOAT_ARITHMETIC(/, /=, mirrored)
#undef ZARVO_MARKED_FLOAT_ARITHMETIC

    /// Sum with a double rounded to float (there is no double form of /).
    MarkedFloat operator+(const double& other) const { return *this + static_cast<float>(other); }
    /// Product with a double rounded to float.
    MarkedFloat operator*(const double& other) const { return *this * static_cast<float>(other); }
    /// Difference with a double rounded to float.
    MarkedFloat operator-(const double& other) const { return *this - static_cast<float>(other); }
    /// 0.0f minus this value (so -(+0.0) is +0.0) with the mark mirrored.
    MarkedFloat operator-() const { return withMark(0.0f - toFloat(), mirrored(m_word)); }

private:
    friend std::istream& ::operator>>(std::istream& stream, MarkedFloat& value);
    friend std::ostream& ::operator<<(std::ostream& stream, const MarkedFloat& value);

    static constexpr std::uint32_t kMarkedBit = 0x1u;
    static constexpr std::uint32_t kMarkBits = 0x7u;
    static constexpr std::uint32_t kSignBit = 0x80000000u;
    static constexpr std::uint32_t kInfinityWord = 0x7F800000u;
    static constexpr std::uint32_t kEmptyWord = 0x7FC00007u;
    /// A mark's mirror image, by bits 2..0: underrange and overrange swap, other mark
    /// and invalid stay, a valid word contributes nothing.
    static constexpr std::uint32_t u32InvertedFlag[8] = {0, 1, 0, 5, 0, 3, 0, 7};

    static std::uint32_t wordOf(float value) {
        std::uint32_t word;
        std::memcpy(&word, &value, sizeof word);
        return word;
    }
    static float floatOf(std::uint32_t word) {
        float value;
        std::memcpy(&value, &word, sizeof value);
        return value;
    }
    static MarkedFloat fromWord(std::uint32_t word) {
        MarkedFloat value;
        value.m_word = word;
        return value;
    }
    static std::uint32_t asIs(std::uint32_t word) { return word; }
    static std::uint32_t mirrored(std::uint32_t word) { return u32InvertedFlag[word & kMarkBits]; }

    /// The one mark rule of all arithmetic: marks is the OR of the words (or mirrored
    /// marks) of the operands. If it has bit 0 set, bits 2..0 of the result become its
    /// bits 2..0; otherwise the result is made valid. Without a branch: the valid result
    /// takes over the mark bits where markBits, all three bits or none, says so.
    static MarkedFloat withMark(float result, std::uint32_t marks) {
        const std::uint32_t valid = wordOf(result) & ~kMarkedBit;
        const std::uint32_t markBits = (0u - (marks & kMarkedBit)) & kMarkBits;
        return fromWord(valid ^ ((valid ^ marks) & markBits));
    }
    /// The legacy code read as a word; toRangeEnds puts overrange and underrange on the
    /// largest and lowest float instead of on the tiny code value.
    static std::uint32_t wordFromLegacy(std::uint32_t code, bool toRangeEnds);

    std::uint32_t mark() const { return m_word & kMarkBits; }
    void setMark(std::uint32_t mark) { m_word = (m_word & ~kMarkBits) | mark; }
    /// The float with bits 2..0 cleared: the value comparisons see.
    float unmarked() const { return floatOf(m_word & ~kMarkBits); }
    /// The text label of the mark; everyMark adds other mark and invalid, which only
    /// toString shows.
    ZARVO_NO_EXPORT const char* label(bool everyMark) const;

    std::uint32_t m_word;
};

static_assert(sizeof(MarkedFloat) == 4 && std::is_trivially_copyable_v<MarkedFloat>,
              "a MarkedFloat is exactly one float-sized word");

inline MarkedFloat::MarkedFloat(float value, MarkedFloatValidity validity) : m_word(wordOf(value)) {
    switch (validity) {
        case Valid: setValid(); break;
        case OtherMark:
        case Underrange:
        case Overrange:
        case Invalid: setMark(static_cast<std::uint32_t>(validity)); break;
        case Legacy: m_word = wordFromLegacy(m_word, true); break;
        default: break;
    }
}

}  // namespace zarvo::exp

/// Reads a number and an optional label ("1.5 (Overrange)"); a number alone is valid,
/// and a stream already at its end leaves the target's own number, made valid. Throws
/// zarvo::Exception "Invalid characters detected" when no number or anything but a
/// blank follows it (so "nan" and "inf" don't read back), "Unable to decode marker"
/// when the word behind the blank starts with no label; the target then holds the bits
/// of the number read (0 for none), with no mark written.
ZARVO_EXPORT std::istream& operator>>(std::istream& stream, zarvo::exp::MarkedFloat& value);
/// Writes the raw float with the stream's own settings, then " (Empty)",
/// " (Underrange)" or " (Overrange)"; other mark and invalid get no label here.
ZARVO_EXPORT std::ostream& operator<<(std::ostream& stream, const zarvo::exp::MarkedFloat& value);

// The functions of <cmath> a measured value is put through; each keeps the value's mark.
namespace std {

/// ceilf of the raw float.
inline zarvo::exp::MarkedFloat ceil(zarvo::exp::MarkedFloat value) {
    return value.apply([](float x) { return std::ceil(x); });
}
/// floorf of the raw float.
inline zarvo::exp::MarkedFloat floor(zarvo::exp::MarkedFloat value) {
    return value.apply([](float x) { return std::floor(x); });
}
/// The raw float with its sign bit cleared: an underrange stays underrange.
inline zarvo::exp::MarkedFloat fabs(zarvo::exp::MarkedFloat value) {
    return value.apply([](float x) { return std::fabs(x); });
}
/// The square as raw times raw for exponent 2, else powf with the exponent as float.
inline zarvo::exp::MarkedFloat pow(zarvo::exp::MarkedFloat value, int exponent) {
    return value.apply(
        [exponent](float x) { return exponent == 2 ? x * x : std::pow(x, static_cast<float>(exponent)); });
}
/// powf of the raw float.
inline zarvo::exp::MarkedFloat pow(zarvo::exp::MarkedFloat value, float exponent) {
    return value.apply([exponent](float x) { return std::pow(x, exponent); });
}

}  // namespace std
