#pragma once

#include <cstddef>
#include <string>

#include "core/memory/MemoryBinary.h"

namespace zarvo::exp {

/// A three-number version (major, minor, patch), printed as 1.02.03. Compared
/// field by field as unsigned numbers. Byte form: the three numbers as 4-byte
/// unsigned fields, 12 bytes.
class ZARVO_EXPORT Version {
public:
    /// major.minor.patch.
    Version(unsigned int major = 0, unsigned int minor = 0, unsigned int patch = 0)
        : m_major(major), m_minor(minor), m_patch(patch) {}
    /// Copies the three numbers.
    Version(const Version&) = default;
    /// Copies the three numbers.
    Version& operator=(const Version&) = default;
    /// Destroys the record; virtual for records derived from it.
    virtual ~Version() = default;

    /// Major number.
    unsigned int getMajor() const { return m_major; }
    /// Minor number.
    unsigned int getMinor() const { return m_minor; }
    /// Patch number.
    unsigned int getPatch() const { return m_patch; }
    /// Sets the major number.
    void setMajor(unsigned int major) { m_major = major; }
    /// Sets the minor number.
    void setMinor(unsigned int minor) { m_minor = minor; }
    /// Sets the patch number.
    void setPatch(unsigned int patch) { m_patch = patch; }
    /// Sets all three numbers.
    void setVersion(unsigned int major, unsigned int minor, unsigned int patch) {
        m_major = major;
        m_minor = minor;
        m_patch = patch;
    }

    /// Major, then minor and patch each at least two digits wide: "1.02.03", "1.200.03".
    virtual std::string toString() const;
    /// All three numbers equal.
    virtual bool operator==(const Version& other) const;
    /// Not ==.
    virtual bool operator!=(const Version& other) const { return !(*this == other); }
    /// other < this.
    virtual bool operator>(const Version& other) const { return other < *this; }
    /// > or ==.
    virtual bool operator>=(const Version& other) const { return *this > other || *this == other; }
    /// Lexicographic over major, minor, patch.
    virtual bool operator<(const Version& other) const;
    /// < or ==.
    virtual bool operator<=(const Version& other) const { return *this < other || *this == other; }

    /// Writes the 12-byte form; returns 12.
    size_t serialize(Endian endian, char* data) const;
    /// Reads the 12-byte form unchecked from a complete value; size becomes 12.
    static Version deserialize(Endian endian, const char* data, size_t& size) {
        return Memory::readFrom(Memory::Cursor(endian, data), size, read);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static Version deserialize(Endian endian, const char* data, size_t available, size_t& size) {
        return Memory::readFrom(Memory::Cursor(endian, data, available), size, read);
    }
    /// The size of the byte form: 12.
    size_t sizeofType() const { return 12; }

    /// Splits at the first dot and at the next one, each part read by atoi (so no
    /// character is refused and "-1" becomes 4294967295); a missing patch is 0.
    /// Throws zarvo::Exception when the text holds no dot.
    static Version fromString(const std::string& text);

private:
    static Version read(Memory::Cursor& in);

    unsigned int m_major;
    unsigned int m_minor;
    unsigned int m_patch;
};

}  // namespace zarvo::exp
