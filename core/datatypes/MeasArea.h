#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/Variant.h"
#include "core/memory/MemoryBinary.h"

namespace zarvo::exp::quantity {
/// A measured quantity of the framework's quantity component; only named here.
template <class T>
class QuantityBase;
}  // namespace zarvo::exp::quantity

namespace zarvo::exp {

/// A rectangular measurement area: position, size, a cold spot and a hot spot, and
/// a mean value held in a Variant. Copies share the Variant objects. Byte form:
///   x, y, width, height (2 each), cold spot, hot spot (MeasPoint forms),
///   mean value's name length N (4), name (N), the mean value's own byte form.
///
/// The mean value comes in by deserialize or by the constructor that takes it; until
/// then it is null. An area with
/// a null mean value gives nullptr from getMeanValue(), and its serialize, sizeofType
/// and toString throw "Can not serialize a MEAS AREA without mean value!" before
/// anything is written. Spots are checked first: an area whose spot has no value
/// fails with the point's messages, serialize after writing the four numbers.
class ZARVO_EXPORT MeasArea {
public:
    /// Position and size 0, empty spots, null mean value.
    MeasArea() = default;
    /// x, y, width, height; empty spots, null mean value.
    MeasArea(unsigned short x, unsigned short y, unsigned short width, unsigned short height);
    /// A whole area, ready to be written or printed: x, y, width, height, the two
    /// spots and the mean value, held as given (shared, not copied). getMeanValue()
    /// takes the mean value's object as a quantity, so give it one of the type your
    /// framework registers for mean values; any registered type writes and prints.
    MeasArea(unsigned short x, unsigned short y, unsigned short width, unsigned short height, MeasPoint coldSpot,
             MeasPoint hotSpot, std::shared_ptr<Variant> meanValue);
    /// Copies the numbers and the spots; the copy shares the Variant objects.
    MeasArea(const MeasArea&) = default;
    /// Copies the numbers and the spots; the copy shares the Variant objects.
    MeasArea& operator=(const MeasArea&) = default;
    /// Takes over other's values; other keeps its numbers and has empty spots and no mean value.
    MeasArea(MeasArea&& other) noexcept = default;
    /// Takes over other's values; other keeps its numbers and has empty spots and no mean value.
    MeasArea& operator=(MeasArea&& other) noexcept = default;
    /// Releases this area's share of its values.
    virtual ~MeasArea();

    /// Same numbers, equal spots (MeasPoint ==), and the same mean value object (or both null):
    /// the mean value is compared by identity, not by content.
    bool operator==(const MeasArea& other) const;
    /// The negation of ==.
    bool operator!=(const MeasArea& other) const { return !(*this == other); }

    /// The left edge.
    unsigned short getXPos() const { return m_xPos; }
    /// The top edge.
    unsigned short getYPos() const { return m_yPos; }
    /// The width.
    unsigned short getWidth() const { return m_width; }
    /// The height.
    unsigned short getHeight() const { return m_height; }
    /// Sets the left edge.
    void setXPos(unsigned short x) { m_xPos = x; }
    /// Sets the top edge.
    void setYPos(unsigned short y) { m_yPos = y; }
    /// Sets the width.
    void setWidth(unsigned short width) { m_width = width; }
    /// Sets the height.
    void setHeight(unsigned short height) { m_height = height; }
    /// x, y, width, height, widened.
    cv::Rect_<int> getAreaRect() const { return {m_xPos, m_yPos, m_width, m_height}; }
    /// A copy of the cold spot, sharing its value.
    MeasPoint getColdSpot() const { return m_coldSpot; }
    /// A copy of the hot spot, sharing its value.
    MeasPoint getHotSpot() const { return m_hotSpot; }
    /// Replaces the cold spot.
    void setColdSpot(MeasPoint spot) { m_coldSpot = std::move(spot); }
    /// Replaces the hot spot.
    void setHotSpot(MeasPoint spot) { m_hotSpot = std::move(spot); }
    /// The address of the mean value's held object, taken as a quantity without any
    /// type check; valid while the Variant lives. nullptr when there is no mean value.
    const quantity::QuantityBase<MarkedFloat>* getMeanValue() const;

    /// Writes the byte form; returns 12 + both spots' sizes + N + V.
    size_t serialize(Endian endian, char* data) const;
    /// Reads an area from data, which must hold a complete one; size becomes the bytes used.
    static MeasArea deserialize(Endian endian, const char* data, size_t& size);
    /// As above, but never reads past data + available (throws a zarvo::Exception instead).
    static MeasArea deserialize(Endian endian, const char* data, size_t available, size_t& size);
    /// The bytes serialize() writes.
    size_t sizeofType() const;
    /// "(x/y) (width x height )", then the texts of the cold spot's value, the hot
    /// spot's value and the mean value, joined by " , ".
    std::string toString() const;

private:
    static ZARVO_NO_EXPORT MeasArea read(Memory::Cursor& in);
    void setMeanValue(std::shared_ptr<Variant> value) { m_meanValue = std::move(value); }
    ZARVO_NO_EXPORT void requireMeanValue() const;

    unsigned short m_xPos = 0;
    unsigned short m_yPos = 0;
    unsigned short m_width = 0;
    unsigned short m_height = 0;
    MeasPoint m_coldSpot;
    MeasPoint m_hotSpot;
    std::shared_ptr<Variant> m_meanValue;
};

}  // namespace zarvo::exp
