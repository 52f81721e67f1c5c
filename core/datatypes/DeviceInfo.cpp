#include "core/datatypes/DeviceInfo.h"

#include <sstream>

namespace zarvo {

DeviceInfo& DeviceInfo::operator=(DeviceInfo&& other) noexcept {
    if (this != &other) {
        m_deviceSerial = other.m_deviceSerial;
        m_boardSerial = other.m_boardSerial;
        m_boardType = other.m_boardType;
        m_boardIndex = other.m_boardIndex;
        m_productionDate = std::move(other.m_productionDate);
        other.m_productionDate.clear();  // a moved-from string is only "valid"; this one is empty
    }
    return *this;
}

size_t DeviceInfo::serialize(exp::Endian endian, char* data) const {
    size_t used = exp::Memory::writeField(endian, data, m_deviceSerial);
    used += exp::Memory::writeField(endian, data + used, m_boardSerial);
    used += exp::Memory::writeField(endian, data + used, m_boardType);
    used += exp::Memory::writeField(endian, data + used, m_boardIndex);
    return used + exp::Memory::serializeT(endian, data + used, m_productionDate);
}

DeviceInfo DeviceInfo::read(exp::Memory::Cursor& in) {
    DeviceInfo value;
    value.m_deviceSerial = in.field<std::uint64_t>();
    value.m_boardSerial = in.field<std::uint64_t>();
    value.m_boardType = in.field<unsigned int>();
    value.m_boardIndex = in.field<unsigned short>();
    exp::Memory::deserializeT(in, value.m_productionDate);
    return value;
}

std::string DeviceInfo::toString() const {
    std::ostringstream text;
    text << "DeviceSerial:    " << m_deviceSerial << "\nBoardSerial:     " << m_boardSerial
         << "\nBoardType:       " << m_boardType << "\nProductionDate:  " << m_productionDate
         << "\nBoardIndex:      " << m_boardIndex;
    return text.str();
}

}  // namespace zarvo
