#include "core/datatypes/DeviceInfo2.h"

#include <sstream>

#include "valuetext/ValueText.h"

namespace zarvo {

DeviceInfo2& DeviceInfo2::operator=(DeviceInfo2&& other) noexcept {
    if (this != &other) {
        m_deviceSerial = other.m_deviceSerial;
        m_boardSerial = other.m_boardSerial;
        m_deviceType = other.m_deviceType;
        m_boardIndex = other.m_boardIndex;
        m_placementIndex = other.m_placementIndex;
        m_productionDate = std::move(other.m_productionDate);
        other.m_productionDate.clear();  // a moved-from string is only "valid"; this one is empty
    }
    return *this;
}

size_t DeviceInfo2::serialize(exp::Endian endian, char* data) const {
    size_t used = exp::Memory::writeField(endian, data, m_deviceSerial);
    used += exp::Memory::writeField(endian, data + used, m_boardSerial);
    used += exp::Memory::writeField(endian, data + used, m_deviceType);
    used += exp::Memory::writeField(endian, data + used, m_boardIndex);
    used += exp::Memory::writeField(endian, data + used, m_placementIndex);
    return used + exp::Memory::serializeT(endian, data + used, m_productionDate);
}

DeviceInfo2 DeviceInfo2::read(exp::Memory::Cursor& in) {
    DeviceInfo2 value;
    value.m_deviceSerial = in.field<std::uint64_t>();
    value.m_boardSerial = in.field<std::uint64_t>();
    value.m_deviceType = in.field<unsigned int>();
    value.m_boardIndex = in.field<unsigned char>();
    value.m_placementIndex = in.field<unsigned char>();
    exp::Memory::deserializeT(in, value.m_productionDate);
    return value;
}

std::string DeviceInfo2::toString() const {
    std::ostringstream text;
    text << "DeviceSerial:   " << m_deviceSerial << "\nBoardSerial:    " << m_boardSerial
         << "\nDeviceType:     " << m_deviceType << "\nProductionDate: " << m_productionDate
         << "\nBoardIndex:     " << exp::intern::toStringTimpl<unsigned char>(m_boardIndex)
         << "\nPlacementIndex: " << exp::intern::toStringTimpl<unsigned char>(m_placementIndex);
    return text.str();
}

}  // namespace zarvo
