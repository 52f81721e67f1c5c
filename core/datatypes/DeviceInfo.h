#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "core/memory/MemoryBinary.h"

namespace zarvo {

/// The identity of a device and its board, first generation (DeviceInfo2 is the
/// second): serial numbers, board type, a 16-bit board index and a free-text
/// production date that is stored as given and never parsed. No virtual operations.
///
/// Byte form, fields back to back, multi-byte ones in the order Endian says:
/// device serial (8), board serial (8), board type (4), board index (2), date
/// length N (4), the N date bytes: 26 + N bytes. The bytes do not tell the two
/// generations apart.
class ZARVO_EXPORT DeviceInfo {
public:
    /// Device serial, board serial, board type, board index, production date.
    DeviceInfo(std::uint64_t deviceSerial = 0, std::uint64_t boardSerial = 0, unsigned int boardType = 0,
               unsigned short boardIndex = 0, std::string productionDate = "")
        : m_deviceSerial(deviceSerial),
          m_boardSerial(boardSerial),
          m_boardType(boardType),
          m_boardIndex(boardIndex),
          m_productionDate(std::move(productionDate)) {}
    /// Copies every field.
    DeviceInfo(const DeviceInfo&) = default;
    /// Takes other's fields; other keeps its numbers and is left with an empty date.
    DeviceInfo(DeviceInfo&& other) noexcept
        : DeviceInfo(other.m_deviceSerial, other.m_boardSerial, other.m_boardType, other.m_boardIndex) {
        m_productionDate.swap(other.m_productionDate);
    }
    /// Copies every field.
    DeviceInfo& operator=(const DeviceInfo&) = default;
    /// Takes other's fields; other keeps its numbers and is left with an empty date.
    DeviceInfo& operator=(DeviceInfo&& other) noexcept;

    /// Serial number of the device.
    std::uint64_t getDeviceSerial() const { return m_deviceSerial; }
    /// Sets the serial number of the device.
    void setDeviceSerial(const std::uint64_t& deviceSerial) { m_deviceSerial = deviceSerial; }
    /// Serial number of the board.
    std::uint64_t getBoardSerial() const { return m_boardSerial; }
    /// Sets the serial number of the board.
    void setBoardSerial(const std::uint64_t& boardSerial) { m_boardSerial = boardSerial; }
    /// Type number of the board.
    unsigned int getBoardType() const { return m_boardType; }
    /// Sets the type number of the board.
    void setBoardType(unsigned int boardType) { m_boardType = boardType; }
    /// Index of the board.
    unsigned short getBoardIndex() const { return m_boardIndex; }
    /// Sets the index of the board.
    void setBoardIndex(unsigned short boardIndex) { m_boardIndex = boardIndex; }
    /// A copy of the production date text.
    std::string getProductionDate() const { return m_productionDate; }
    /// Sets the production date text, unchecked.
    void setProductionDate(const std::string& productionDate) { m_productionDate = productionDate; }

    /// Writes the byte form; returns 26 + the date's length.
    size_t serialize(exp::Endian endian, char* data) const;
    /// Reads the byte form unchecked from a complete value; size becomes 26 + the date's length.
    static DeviceInfo deserialize(exp::Endian endian, const char* data, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data), size, read);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static DeviceInfo deserialize(exp::Endian endian, const char* data, size_t available, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data, available), size, read);
    }
    /// The size of the byte form: 26 + the date's length.
    size_t sizeofType() const { return 26 + m_productionDate.size(); }

    /// One "Label:    value" line per field (device serial, board serial, board type,
    /// production date, board index), numbers in decimal, no line end behind the last.
    std::string toString() const;

private:
    static DeviceInfo read(exp::Memory::Cursor& in);

    std::uint64_t m_deviceSerial;
    std::uint64_t m_boardSerial;
    unsigned int m_boardType;
    unsigned short m_boardIndex;
    std::string m_productionDate;
};

}  // namespace zarvo
