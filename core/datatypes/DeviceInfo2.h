#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "core/memory/MemoryBinary.h"

namespace zarvo {

/// The identity of a device and its board, second generation: against DeviceInfo
/// the 32-bit field holds the device type instead of the board type, and the
/// 16-bit board index is split into an 8-bit board index and an 8-bit placement
/// index. The production date is free text, stored as given. No virtual operations.
///
/// Byte form, fields back to back, multi-byte ones in the order Endian says:
/// device serial (8), board serial (8), device type (4), board index (1),
/// placement index (1), date length N (4), the N date bytes: 26 + N bytes, the
/// same size and places as DeviceInfo's.
class ZARVO_EXPORT DeviceInfo2 {
public:
    /// Device serial, board serial, device type, board index, placement index, production date.
    DeviceInfo2(std::uint64_t deviceSerial = 0, std::uint64_t boardSerial = 0, unsigned int deviceType = 0,
                unsigned char boardIndex = 0, unsigned char placementIndex = 0, std::string productionDate = "")
        : m_deviceSerial(deviceSerial),
          m_boardSerial(boardSerial),
          m_deviceType(deviceType),
          m_boardIndex(boardIndex),
          m_placementIndex(placementIndex),
          m_productionDate(std::move(productionDate)) {}
    /// Copies every field.
    DeviceInfo2(const DeviceInfo2&) = default;
    /// Takes other's fields; other keeps its numbers and is left with an empty date.
    DeviceInfo2(DeviceInfo2&& other) noexcept
        : DeviceInfo2(other.m_deviceSerial, other.m_boardSerial, other.m_deviceType, other.m_boardIndex,
                      other.m_placementIndex) {
        m_productionDate.swap(other.m_productionDate);
    }
    /// Copies every field.
    DeviceInfo2& operator=(const DeviceInfo2&) = default;
    /// Takes other's fields; other keeps its numbers and is left with an empty date.
    DeviceInfo2& operator=(DeviceInfo2&& other) noexcept;

    /// Serial number of the device.
    std::uint64_t getDeviceSerial() const { return m_deviceSerial; }
    /// Sets the serial number of the device.
    void setDeviceSerial(const std::uint64_t& deviceSerial) { m_deviceSerial = deviceSerial; }
    /// Serial number of the board.
    std::uint64_t getBoardSerial() const { return m_boardSerial; }
    /// Sets the serial number of the board.
    void setBoardSerial(const std::uint64_t& boardSerial) { m_boardSerial = boardSerial; }
    /// Type number of the device.
    unsigned int getDeviceType() const { return m_deviceType; }
    /// Sets the type number of the device.
    void setDeviceType(unsigned int deviceType) { m_deviceType = deviceType; }
    /// Index of the board.
    unsigned char getBoardIndex() const { return m_boardIndex; }
    /// Sets the index of the board.
    void setBoardIndex(unsigned char boardIndex) { m_boardIndex = boardIndex; }
    /// Index of the placement.
    unsigned char getPlacementIndex() const { return m_placementIndex; }
    /// Sets the index of the placement.
    void setPlacementIndex(unsigned char placementIndex) { m_placementIndex = placementIndex; }
    /// A copy of the production date text.
    std::string getProductionDate() const { return m_productionDate; }
    /// Sets the production date text, unchecked.
    void setProductionDate(const std::string& productionDate) { m_productionDate = productionDate; }

    /// Writes the byte form; returns 26 + the date's length.
    size_t serialize(exp::Endian endian, char* data) const;
    /// Reads the byte form unchecked from a complete value; size becomes 26 + the date's length.
    static DeviceInfo2 deserialize(exp::Endian endian, const char* data, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data), size, read);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static DeviceInfo2 deserialize(exp::Endian endian, const char* data, size_t available, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data, available), size, read);
    }
    /// The size of the byte form: 26 + the date's length.
    size_t sizeofType() const { return 26 + m_productionDate.size(); }

    /// One "Label:   value" line per field (device serial, board serial, device type,
    /// production date, board index, placement index), labels one blank narrower
    /// than DeviceInfo's, numbers in decimal, no line end behind the last.
    std::string toString() const;

private:
    static DeviceInfo2 read(exp::Memory::Cursor& in);

    std::uint64_t m_deviceSerial;
    std::uint64_t m_boardSerial;
    unsigned int m_deviceType;
    unsigned char m_boardIndex;
    unsigned char m_placementIndex;
    std::string m_productionDate;
};

}  // namespace zarvo
