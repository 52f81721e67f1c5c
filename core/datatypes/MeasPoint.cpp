#include "core/datatypes/MeasPoint.h"

#include <cstdint>
#include <sstream>

#include "valuefault/Exception.h"

namespace zarvo::exp {

MeasPoint::MeasPoint(unsigned short x, unsigned short y, std::shared_ptr<Variant> value)
    : m_xPos(x), m_yPos(y), m_value(std::move(value)) {}

MeasPoint::~MeasPoint() = default;

bool MeasPoint::operator==(const MeasPoint& other) const {
    if (m_xPos != other.m_xPos || m_yPos != other.m_yPos) return false;
    if (!m_value || !other.m_value) return !m_value && !other.m_value;
    return m_value->equal_imp(other.m_value);
}

void MeasPoint::setPos(const cv::Point_<int>& pos) {
    setPos(static_cast<unsigned short>(pos.x), static_cast<unsigned short>(pos.y));
}

void MeasPoint::setPos(unsigned short x, unsigned short y) {
    m_xPos = x;
    m_yPos = y;
}

size_t MeasPoint::serialize(Endian endian, char* data) const {
    if (!m_value) ZARVO_THROW("Can not serialize empty MEAS POINTs!");
    size_t used = Memory::writeField(endian, data, m_xPos);
    used += Memory::writeField(endian, data + used, m_yPos);
    used += Memory::serializeT(endian, data + used, m_value->getTypeString());
    return used + m_value->serialize_imp(endian, data + used);
}

MeasPoint MeasPoint::read(Memory::Cursor& in) {
    MeasPoint point;
    point.m_xPos = in.field<unsigned short>();
    point.m_yPos = in.field<unsigned short>();
    point.m_value = detail::readNamedValue(in, "MEAS POINT");
    return point;
}

MeasPoint MeasPoint::deserialize(Endian endian, const char* data, size_t& size) {
    return Memory::readFrom(Memory::Cursor(endian, data), size, read);
}

MeasPoint MeasPoint::deserialize(Endian endian, const char* data, size_t available, size_t& size) {
    return Memory::readFrom(Memory::Cursor(endian, data, available), size, read);
}

size_t MeasPoint::sizeofType() const {
    if (!m_value) ZARVO_THROW("Can not serialize empty MEAS POINT!");
    return 4 + Memory::sizeofT(m_value->getTypeString()) + m_value->sizeofT_imp();
}

std::string MeasPoint::toString() const {
    if (!m_value) ZARVO_THROW("Can not serialize empty MEAS POINT!");
    std::ostringstream text;
    text << "(" << m_xPos << "/" << m_yPos << ") " << m_value->toString();
    return text.str();
}

}  // namespace zarvo::exp
