#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "core/datatypes/Variant.h"
#include "core/memory/MemoryBinary.h"

namespace zarvo::exp {

/// One measured value at one position: x and y as unsigned 16-bit numbers and a
/// value of any registered type. Copies share the value's Variant. The byte form
/// names the value's type by its registered name, so reading goes through the registry:
///   x (2), y (2), name length N (4), name (N), the value's own byte form.
class ZARVO_EXPORT MeasPoint {
public:
    /// Position 0/0, no value.
    MeasPoint() = default;
    /// A point at x/y holding value (shared; null means the point is empty).
    MeasPoint(unsigned short x, unsigned short y, std::shared_ptr<Variant> value);
    /// Copies the position; the copy shares the value's Variant.
    MeasPoint(const MeasPoint&) = default;
    /// Copies the position; the copy shares the value's Variant.
    MeasPoint& operator=(const MeasPoint&) = default;
    /// Takes over other's value; other is left empty.
    MeasPoint(MeasPoint&& other) noexcept = default;
    /// Takes over other's value; other is left empty.
    MeasPoint& operator=(MeasPoint&& other) noexcept = default;
    /// Releases this point's share of its value.
    virtual ~MeasPoint();

    /// Same position, and both values null or both equal by Variant::equal_imp.
    bool operator==(const MeasPoint& other) const;
    /// The negation of ==.
    bool operator!=(const MeasPoint& other) const { return !(*this == other); }

    /// The x position.
    unsigned short getXPos() const { return m_xPos; }
    /// The y position.
    unsigned short getYPos() const { return m_yPos; }
    /// Sets the x position.
    void setXPos(unsigned short x) { m_xPos = x; }
    /// Sets the y position.
    void setYPos(unsigned short y) { m_yPos = y; }
    /// x and y, widened.
    cv::Point_<int> getPos() const { return {m_xPos, m_yPos}; }
    /// Keeps the low 16 bits of each coordinate: 70000/1 is stored as 4464/1.
    void setPos(const cv::Point_<int>& pos);
    /// Sets x and y.
    void setPos(unsigned short x, unsigned short y);
    /// The shared value; may be null.
    std::shared_ptr<Variant> getValue() const { return m_value; }
    /// Replaces the value; null empties the point.
    void setValue(std::shared_ptr<Variant> value) { m_value = std::move(value); }

    /// Writes the byte form; returns 8 + N + V. Throws, writing nothing, for an empty point.
    size_t serialize(Endian endian, char* data) const;
    /// Reads a point from data, which must hold a complete one; size becomes the bytes used.
    static MeasPoint deserialize(Endian endian, const char* data, size_t& size);
    /// As above, but never reads past data + available (throws a zarvo::Exception instead).
    static MeasPoint deserialize(Endian endian, const char* data, size_t available, size_t& size);
    /// The bytes serialize() writes; throws for an empty point.
    size_t sizeofType() const;
    /// "(x/y) " and the value's text, e.g. "(10/20) 36.5"; throws for an empty point.
    std::string toString() const;

private:
    static ZARVO_NO_EXPORT MeasPoint read(Memory::Cursor& in);

    unsigned short m_xPos = 0;
    unsigned short m_yPos = 0;
    std::shared_ptr<Variant> m_value;
};

}  // namespace zarvo::exp
