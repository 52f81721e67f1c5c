#include "core/datatypes/MeasArea.h"

#include <sstream>

#include "valuefault/Exception.h"

namespace zarvo::exp {

MeasArea::MeasArea(unsigned short x, unsigned short y, unsigned short width, unsigned short height)
    : m_xPos(x), m_yPos(y), m_width(width), m_height(height) {}

MeasArea::MeasArea(unsigned short x, unsigned short y, unsigned short width, unsigned short height, MeasPoint coldSpot,
                   MeasPoint hotSpot, std::shared_ptr<Variant> meanValue)
    : m_xPos(x),
      m_yPos(y),
      m_width(width),
      m_height(height),
      m_coldSpot(std::move(coldSpot)),
      m_hotSpot(std::move(hotSpot)),
      m_meanValue(std::move(meanValue)) {}

MeasArea::~MeasArea() = default;

bool MeasArea::operator==(const MeasArea& other) const {
    return m_xPos == other.m_xPos && m_yPos == other.m_yPos && m_width == other.m_width && m_height == other.m_height &&
           m_coldSpot == other.m_coldSpot && m_hotSpot == other.m_hotSpot && m_meanValue == other.m_meanValue;
}

const quantity::QuantityBase<MarkedFloat>* MeasArea::getMeanValue() const {
    if (!m_meanValue) return nullptr;
    return static_cast<const quantity::QuantityBase<MarkedFloat>*>(m_meanValue->constAddress_imp());
}

void MeasArea::requireMeanValue() const {
    if (!m_meanValue) ZARVO_THROW("Can not serialize a MEAS AREA without mean value!");
}

size_t MeasArea::serialize(Endian endian, char* data) const {
    // Only an area whose spots would be written whole is refused up front.
    if (m_coldSpot.getValue() && m_hotSpot.getValue()) requireMeanValue();
    size_t used = 0;
    for (unsigned short number : {m_xPos, m_yPos, m_width, m_height})
        used += Memory::writeField(endian, data + used, number);
    used += m_coldSpot.serialize(endian, data + used);
    used += m_hotSpot.serialize(endian, data + used);
    requireMeanValue();
    used += Memory::serializeT(endian, data + used, m_meanValue->getTypeString());
    return used + m_meanValue->serialize_imp(endian, data + used);
}

MeasArea MeasArea::read(Memory::Cursor& in) {
    MeasArea area;
    area.m_xPos = in.field<unsigned short>();
    area.m_yPos = in.field<unsigned short>();
    area.m_width = in.field<unsigned short>();
    area.m_height = in.field<unsigned short>();
    area.m_coldSpot = Memory::readValue<MeasPoint>(in);
    area.m_hotSpot = Memory::readValue<MeasPoint>(in);
    area.setMeanValue(detail::readNamedValue(in, "MEAS AREA mean value"));
    return area;
}

MeasArea MeasArea::deserialize(Endian endian, const char* data, size_t& size) {
    return Memory::readFrom(Memory::Cursor(endian, data), size, read);
}

MeasArea MeasArea::deserialize(Endian endian, const char* data, size_t available, size_t& size) {
    return Memory::readFrom(Memory::Cursor(endian, data, available), size, read);
}

size_t MeasArea::sizeofType() const {
    const size_t spots = m_hotSpot.sizeofType() + m_coldSpot.sizeofType();
    requireMeanValue();
    return 8 + spots + Memory::sizeofT(m_meanValue->getTypeString()) + m_meanValue->sizeofT_imp();
}

std::string MeasArea::toString() const {
    std::ostringstream text;
    text << "(" << m_xPos << "/" << m_yPos << ") (" << m_width << " x " << m_height << " )";
    for (const MeasPoint* spot : {&m_coldSpot, &m_hotSpot}) {
        if (!spot->getValue()) ZARVO_THROW("Can not serialize empty MEAS POINT!");
        text << spot->getValue()->toString() << " , ";
    }
    requireMeanValue();
    text << m_meanValue->toString();
    return text.str();
}

}  // namespace zarvo::exp
