#include "core/datatypes/MaterialNumber.h"

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace zarvo {

namespace {

const char* const kNotSupported = "not supported - feel free to implement ;)";
const char* const kInvalidType = "Invalid for NumberType::invalid";
const char* const kUnexpectedLength = "Unexpected length of Materialnumber ";

// Whether a constructor reads its input: yes for numeric; alphanumeric and invalid
// refuse it; none and a value naming no member drop it.
template <class Input>
bool readsInput(MaterialNumber::NumberType type, const Input& input) {
    switch (type) {
        case MaterialNumber::numeric: return true;
        case MaterialNumber::alphanumeric: throw std::runtime_error(kNotSupported);
        case MaterialNumber::invalid: {
            std::ostringstream message;
            message << "Invalid selection of type for your input of MaterialNumber:" << input;
            throw std::invalid_argument(message.str());
        }
        default: return false;
    }
}

}  // namespace

MaterialNumber::MaterialNumber(const std::string& text, const NumberType& type) : m_type(type), m_hasIdent(false) {
    if (readsInput(type, text)) {
        checkValidCharacters(text, type);
        parseZarvoMaterialNumberStringInput(text);
    }
}

MaterialNumber::MaterialNumber(std::uint64_t number, const NumberType& type) : m_type(type), m_hasIdent(false) {
    if (readsInput(type, number)) checkZarvoMaterialIntegerInput(static_cast<std::int64_t>(number));
}

MaterialNumber& MaterialNumber::operator=(const MaterialNumber& other) {
    m_type = other.m_type;
    m_hasIdent = other.m_hasIdent;
    m_number = other.m_number;
    return *this;
}

std::uint64_t MaterialNumber::toInteger(bool cut) const {
    switch (m_type) {
        case numeric: {
            std::string digits = m_number;
            digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
            if (cut && m_hasIdent) digits.resize(digits.size() - m_nIdentLength);
            return std::strtoull(digits.c_str(), nullptr, 10);
        }
        case alphanumeric: throw std::logic_error("You can not convert a alphanumeric MaterialNumber to a Integer!)");
        case invalid: throw std::invalid_argument(kInvalidType);
        default: return 0;
    }
}

std::string MaterialNumber::toString(bool cut) const {
    switch (m_type) {
        case numeric:
            return cut && m_hasIdent ? m_number.substr(0, m_number.size() - m_nBlankLength - m_nIdentLength) : m_number;
        case alphanumeric: throw std::runtime_error(kNotSupported);
        case invalid: throw std::invalid_argument(kInvalidType);
        default: return "";
    }
}

size_t MaterialNumber::serialize(exp::Endian endian, char* data) const {
    const size_t used = exp::Memory::serializeT(endian, data, m_number);
    return used + exp::Memory::writeField(endian, data + used, static_cast<std::uint8_t>(m_type));
}

MaterialNumber MaterialNumber::read(exp::Memory::Cursor& in, size_t& size) {
    std::string text;
    exp::Memory::deserializeT(in, text);
    const auto type = static_cast<NumberType>(in.field<std::uint8_t>());
    size = in.consumed();
    return MaterialNumber(text, type);
}

void MaterialNumber::checkZarvoMaterialIntegerInput(std::int64_t number) {
    const std::string digits = std::to_string(number);
    if (digits.size() < m_nFewestDigits || digits.size() > m_nMostDigits)
        throw std::length_error(kUnexpectedLength + digits);
    m_hasIdent = digits.size() > m_nMostDigitsWithoutIdent;
    std::ostringstream text;
    text << std::setfill(m_fillChar)
         << std::setw(static_cast<int>(m_hasIdent ? m_nLongLength - m_nLongBlanks : m_nShortLength - m_nShortBlanks))
         << number;
    m_number = text.str();
    m_number.insert(m_nFirstBlank, 1, ' ');
    if (m_hasIdent) m_number.insert(m_nSecondBlank, 1, ' ');
}

void MaterialNumber::parseZarvoMaterialNumberStringInput(const std::string& text) {
    if (text.size() == m_nShortLength) {
        if (countBlankChar(text) != m_nShortBlanks)
            throw std::invalid_argument("Invaild Format of Materialnumber, expect a blank character: " + text);
        if (text[m_nFirstBlank] != ' ')
            throw std::invalid_argument("Invaild Format of Materialnumber, expect Format like XXXX XXXX: " + text);
        m_hasIdent = false;
    } else if (text.size() == m_nLongLength) {
        if (countBlankChar(text) != m_nLongBlanks)
            throw std::invalid_argument("Invalid Format of Materialnumber, expect two blank characters: " + text);
        if (text[m_nFirstBlank] != ' ' || text[m_nSecondBlank] != ' ')
            throw std::invalid_argument("Invalid Format of Materialnumber, expect Format like XXXX XXXX XX: " + text);
        m_hasIdent = true;
    } else {
        throw std::length_error(kUnexpectedLength + text);
    }
    m_number = text;
}

void MaterialNumber::checkValidCharacters(const std::string& text, const NumberType& type) const {
    const std::string& allowed = m_allowedCharacters.at(type);
    if (text.find_first_not_of(allowed) != std::string::npos)
        throw std::invalid_argument(
            "Materialnumber contains invalid characters, make sure only the following characters are used: " + allowed);
}

size_t MaterialNumber::countBlankChar(const std::string& text) const {
    return static_cast<size_t>(std::count(text.begin(), text.end(), ' '));
}

}  // namespace zarvo
