#pragma once

#include <cstddef>
#include <string>

#include "core/memory/MemoryBinary.h"

namespace zarvo::exp {

/// A four-number version (major, minor, patch, build number), printed as 1.2.3.4,
/// or 1.2.3 when the build number is 0. A class of its own: not convertible to or
/// comparable with Version. Byte form: the four numbers as 4-byte unsigned fields,
/// 16 bytes.
class ZARVO_EXPORT VersionExtended {
public:
    /// major.minor.patch.buildNumber.
    VersionExtended(unsigned int major = 0, unsigned int minor = 0, unsigned int patch = 0,
                    unsigned int buildNumber = 0)
        : m_major(major), m_minor(minor), m_patch(patch), m_buildNumber(buildNumber) {}
    /// Copies the four numbers.
    VersionExtended(const VersionExtended&) = default;
    /// Copies the four numbers.
    VersionExtended& operator=(const VersionExtended&) = default;
    /// Destroys the record; virtual for records derived from it.
    virtual ~VersionExtended() = default;

    /// Major number.
    unsigned int getMajor() const { return m_major; }
    /// Minor number.
    unsigned int getMinor() const { return m_minor; }
    /// Patch number.
    unsigned int getPatch() const { return m_patch; }
    /// Build number.
    unsigned int getBuildNumber() const { return m_buildNumber; }
    /// Sets the major number.
    void setMajor(unsigned int major) { m_major = major; }
    /// Sets the minor number.
    void setMinor(unsigned int minor) { m_minor = minor; }
    /// Sets the patch number.
    void setPatch(unsigned int patch) { m_patch = patch; }
    /// Sets the build number.
    void setBuildNumber(unsigned int buildNumber) { m_buildNumber = buildNumber; }
    /// Sets all four numbers.
    void setVersion(unsigned int major, unsigned int minor, unsigned int patch, unsigned int buildNumber) {
        m_major = major;
        m_minor = minor;
        m_patch = patch;
        m_buildNumber = buildNumber;
    }

    /// The numbers in plain decimal joined by dots; the build number only when not 0.
    virtual std::string toString() const;
    /// All four numbers equal.
    virtual bool operator==(const VersionExtended& other) const;
    /// Not ==.
    virtual bool operator!=(const VersionExtended& other) const { return !(*this == other); }
    /// other < this.
    virtual bool operator>(const VersionExtended& other) const { return other < *this; }
    /// > or ==.
    virtual bool operator>=(const VersionExtended& other) const { return *this > other || *this == other; }
    /// Lexicographic over major, minor, patch, build number.
    virtual bool operator<(const VersionExtended& other) const;
    /// < or ==.
    virtual bool operator<=(const VersionExtended& other) const { return *this < other || *this == other; }

    /// Writes the 16-byte form; returns 16.
    size_t serialize(Endian endian, char* data) const;
    /// Reads the 16-byte form unchecked from a complete value; size becomes 16.
    static VersionExtended deserialize(Endian endian, const char* data, size_t& size) {
        return Memory::readFrom(Memory::Cursor(endian, data), size, read);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static VersionExtended deserialize(Endian endian, const char* data, size_t available, size_t& size) {
        return Memory::readFrom(Memory::Cursor(endian, data, available), size, read);
    }
    /// The size of the byte form: 16.
    size_t sizeofType() const { return 16; }

    /// Up to four dot-separated parts, each read by atoi: an empty or missing part is
    /// 0, a text without a dot is a bare major. Throws zarvo::Exception for an empty
    /// text, a character other than a digit or ".", or more than three dots.
    static VersionExtended fromString(const std::string& text);

private:
    static VersionExtended read(Memory::Cursor& in);

    unsigned int m_major;
    unsigned int m_minor;
    unsigned int m_patch;
    unsigned int m_buildNumber;
};

}  // namespace zarvo::exp
