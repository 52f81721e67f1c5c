#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "core/memory/MemoryBinary.h"

namespace zarvo {

/// The catalogue number of a part. The one supported format is numeric: eight
/// digits in two groups of four, optionally followed by a two-digit ident,
/// "XXXX XXXX" or "XXXX XXXX XX". The object keeps that canonical text; the integer
/// and the short text without the ident are derived from it on demand.
///
/// Unlike the rest of the library this class throws standard exceptions
/// (std::invalid_argument, std::length_error, std::runtime_error, std::logic_error),
/// because its callers validate user input with them; a failing constructor leaves
/// no object.
///
/// Byte form: the text length N (4 bytes, in the order Endian says), the N text
/// bytes, the type byte: N + 5 bytes. Reading builds the object with the text
/// constructor, so stored bytes are validated like any text input.
class ZARVO_EXPORT MaterialNumber {
public:
    /// The kind of number; stored in one byte. A value that names no member is kept
    /// as it is and behaves as none (empty text, integer 0).
    enum NumberType : std::uint8_t { numeric = 0, alphanumeric = 1, none = 2, invalid = 3 };

    /// Type none, no ident, empty text.
    MaterialNumber() : m_type(none), m_hasIdent(false) {}
    /// For numeric: checks the characters and the format and keeps text as it is.
    /// none (or a value naming no member) drops text; alphanumeric and invalid throw.
    MaterialNumber(const std::string& text, const NumberType& type);
    /// For numeric: 4 to 8 decimal digits give "XXXX XXXX" zero-padded on the left,
    /// 9 or 10 give "XXXX XXXX XX". none (or a value naming no member) drops number;
    /// alphanumeric and invalid throw.
    MaterialNumber(std::uint64_t number, const NumberType& type);
    /// Copies type, ident flag and text.
    MaterialNumber(const MaterialNumber& other)
        : m_type(other.m_type), m_hasIdent(other.m_hasIdent), m_number(other.m_number) {}
    /// Copies type, ident flag and text; the format constants stay.
    MaterialNumber& operator=(const MaterialNumber& other);
    /// Destroys the record; virtual for records derived from it.
    virtual ~MaterialNumber() = default;

    /// Type, ident flag and text all equal.
    bool operator==(const MaterialNumber& other) const {
        return m_type == other.m_type && m_hasIdent == other.m_hasIdent && m_number == other.m_number;
    }

    /// The kind of number.
    NumberType getType() const { return m_type; }
    /// Whether the text has the two-digit ident group.
    bool hasIdent() const { return m_hasIdent; }
    /// The digits as a number, without the ident when cut is true; 0 for none.
    /// Throws std::logic_error for alphanumeric, std::invalid_argument for invalid.
    std::uint64_t toInteger(bool cut) const;
    /// The text, without " XX" when cut is true and there is an ident; empty for none.
    /// Throws std::runtime_error for alphanumeric, std::invalid_argument for invalid.
    std::string toString(bool cut) const;
    /// The whole text: toString(false).
    std::string toString() const { return toString(false); }
    /// The text constructor with type numeric.
    static MaterialNumber fromString(const std::string& text) { return MaterialNumber(text, numeric); }

    /// Writes the byte form; returns the text length + 5.
    size_t serialize(exp::Endian endian, char* data) const;
    /// Reads the byte form from a complete value and builds the object from it (the
    /// constructor's exceptions pass); size becomes the stored text length + 5, all
    /// the bytes read. That is sizeofType() of the result for every form serialize
    /// writes; foreign bytes of a none record with a text count the dropped text too.
    /// size is set before the text is validated, so a reader of a stream of records
    /// can skip one whose text is refused.
    static MaterialNumber deserialize(exp::Endian endian, const char* data, size_t& size) {
        exp::Memory::Cursor in(endian, data);
        return read(in, size);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static MaterialNumber deserialize(exp::Endian endian, const char* data, size_t available, size_t& size) {
        exp::Memory::Cursor in(endian, data, available);
        return read(in, size);
    }
    /// The size of the byte form: the text length + 5.
    size_t sizeofType() const { return m_number.size() + 5; }

private:
    /// Reads the fields, stores the bytes they took in size, then builds the object.
    static MaterialNumber read(exp::Memory::Cursor& in, size_t& size);

    /// Validates an integer input (taken as signed) and stores its canonical text.
    ZARVO_NO_EXPORT void checkZarvoMaterialIntegerInput(std::int64_t number);
    /// Validates the format of a text input and stores it.
    ZARVO_NO_EXPORT void parseZarvoMaterialNumberStringInput(const std::string& text);
    /// Throws unless every character of text is allowed for type; an empty text passes.
    ZARVO_NO_EXPORT void checkValidCharacters(const std::string& text, const NumberType& type) const;
    /// How many blanks text holds.
    ZARVO_NO_EXPORT size_t countBlankChar(const std::string& text) const;

    NumberType m_type;
    bool m_hasIdent;
    std::string m_number;

    // The format, carried by every object; copying and comparing leave it alone.
    const size_t m_nShortLength = 9;  // "XXXX XXXX"
    const size_t m_nLongLength = 12;  // "XXXX XXXX XX"
    const size_t m_nShortBlanks = 1;
    const size_t m_nLongBlanks = 2;
    const size_t m_nFirstBlank = 4;
    const size_t m_nSecondBlank = 9;
    const size_t m_nIdentLength = 2;
    const size_t m_nBlankLength = 1;
    const size_t m_nFewestDigits = 4;
    const size_t m_nMostDigits = 10;
    const size_t m_nMostDigitsWithoutIdent = 8;
    const char m_fillChar = '0';
    const std::map<NumberType, std::string> m_allowedCharacters{{numeric, "0123456789 "}};
};

}  // namespace zarvo
