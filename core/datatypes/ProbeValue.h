#pragma once

#include <cstddef>
#include <string>

#include "core/memory/MemoryBinary.h"

namespace zarvo {

/// What a probe reports: a value with its precision and a status. Byte form, 6
/// bytes with no gap: the float (4 bytes, in the order Endian says), the precision
/// byte, the status byte. The fields are reached through the accessors below.
class ZARVO_EXPORT ProbeValue {
public:
    /// value, precision, status.
    ProbeValue(float value = 0, signed char precision = 0, unsigned char status = 0)
        : m_value(value), m_precision(precision), m_status(status) {}
    /// Copies the three fields.
    ProbeValue(const ProbeValue&) = default;
    /// Copies the three fields.
    ProbeValue& operator=(const ProbeValue&) = default;
    /// Destroys the record; virtual for records derived from it.
    virtual ~ProbeValue() = default;

    /// The measured value.
    float getValue() const { return m_value; }
    /// The precision code.
    signed char getPrecision() const { return m_precision; }
    /// The status code.
    unsigned char getStatus() const { return m_status; }
    /// Sets the measured value.
    void setValue(float value) { m_value = value; }
    /// Sets the precision code.
    void setPrecision(signed char precision) { m_precision = precision; }
    /// Sets the status code.
    void setStatus(unsigned char status) { m_status = status; }

    /// Writes the 6-byte form; returns 6.
    size_t serialize(exp::Endian endian, char* data) const;
    /// Reads the 6-byte form unchecked from a complete value; size becomes 6.
    static ProbeValue deserialize(exp::Endian endian, const char* data, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data), size, read);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static ProbeValue deserialize(exp::Endian endian, const char* data, size_t available, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data, available), size, read);
    }
    /// The size of the byte form: 6.
    size_t sizeofType() const { return 6; }

    /// "Value: 1.5\nPrecision: -2\nStatus: 7", the value in six significant digits,
    /// no line end behind the last line.
    std::string toString() const;

private:
    static ProbeValue read(exp::Memory::Cursor& in);

    float m_value;
    signed char m_precision;
    unsigned char m_status;
};

}  // namespace zarvo
