#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/memory/MemoryBinary.h"

namespace zarvo {

/// One calibration record of a device: content type, certificate number, expire and
/// issue date, and the checksum of the adaption data (stored, never computed).
///
/// Byte form, always 32 bytes: content type (1), certificate number (17, zero-padded,
/// cut when longer, no terminator when exactly 17), expire date (4), issue date (4),
/// checksum (2), reserved (4, written as 0, not read); numbers in the order Endian
/// says. A reader takes a field whose raw bytes are all 0x00 or all 0xFF as not set
/// and leaves it empty or 0, whatever the Endian; the content type is always read.
///
/// The dates are 32-bit numbers handed over as int64: a setter keeps the low 32
/// bits, a getter gives them back zero-extended (-1 comes back as 4294967295).
class ZARVO_EXPORT CalibrationInfo {
public:
    /// All numbers 0, empty certificate number.
    CalibrationInfo() : CalibrationInfo(0, "", 0, 0, 0) {}
    /// Content type, certificate number, expire date, issue date, checksum.
    CalibrationInfo(unsigned char contentType, const std::string& certificateNumber, std::int64_t expireDate,
                    std::int64_t issueDate, unsigned short adaptionDataChecksum)
        : m_contentType(contentType),
          m_certificateNumber(certificateNumber),
          m_expireDate(static_cast<std::uint32_t>(expireDate)),
          m_issueDate(static_cast<std::uint32_t>(issueDate)),
          m_adaptionDataChecksum(adaptionDataChecksum) {}
    /// Copies all five fields.
    CalibrationInfo(const CalibrationInfo&) = default;
    /// Copies all five fields.
    CalibrationInfo& operator=(const CalibrationInfo&) = default;
    /// Destroys the record; virtual for records derived from it.
    virtual ~CalibrationInfo() = default;

    /// All five fields equal, the whole certificate text included.
    bool operator==(const CalibrationInfo& other) const;
    /// Not ==.
    bool operator!=(const CalibrationInfo& other) const { return !(*this == other); }

    /// What the calibration covers (an opaque code).
    unsigned char getContentType() const { return m_contentType; }
    /// Sets the content type.
    void setContentType(unsigned char contentType) { m_contentType = contentType; }
    /// A copy of the certificate number.
    std::string getCertificateNumber() const { return m_certificateNumber; }
    /// Sets the certificate number, any length (the byte form keeps 17 bytes of it).
    void setCertificateNumber(const std::string& certificateNumber) { m_certificateNumber = certificateNumber; }
    /// The expire date, zero-extended from 32 bits.
    std::int64_t getExpireDate() const { return m_expireDate; }
    /// Sets the expire date to the low 32 bits of expireDate.
    void setExpireDate(std::int64_t expireDate) { m_expireDate = static_cast<std::uint32_t>(expireDate); }
    /// The issue date, zero-extended from 32 bits.
    std::int64_t getIssueDate() const { return m_issueDate; }
    /// Sets the issue date to the low 32 bits of issueDate.
    void setIssueDate(std::int64_t issueDate) { m_issueDate = static_cast<std::uint32_t>(issueDate); }
    /// The checksum of the adaption data.
    unsigned short getAdaptionDataChecksum() const { return m_adaptionDataChecksum; }
    /// Sets the checksum of the adaption data.
    void setAdaptionDataChecksum(unsigned short checksum) { m_adaptionDataChecksum = checksum; }

    /// Writes the 32-byte form; returns 32.
    size_t serialize(exp::Endian endian, char* data) const;
    /// Reads the 32-byte form from a complete value, unset fields left empty; size becomes 32.
    static CalibrationInfo deserialize(exp::Endian endian, const char* data, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data), size, read);
    }
    /// As above, but throws zarvo::Exception rather than read past data + available.
    static CalibrationInfo deserialize(exp::Endian endian, const char* data, size_t available, size_t& size) {
        return exp::Memory::readFrom(exp::Memory::Cursor(endian, data, available), size, read);
    }
    /// The size of the byte form: 32.
    size_t sizeofType() const { return m_nCalibrationInfoSize; }

    /// Six lines, each closed by a line end: "CalibrationInfo:", then "ContentType: ",
    /// "CertificateNumber: ", "ExpireDate: ", "IssueDate: ", "Checksum: " with the
    /// value in decimal (the certificate number as text).
    std::string toString() const;

    /// The records of a buffer of 32-byte records in host order (no count, no
    /// header); a rest of fewer than 32 bytes is ignored.
    static std::vector<CalibrationInfo> getCalibrationInfoFromBuffer(const std::vector<char>& buffer);
    /// The records written one behind the other in host order, 32 bytes each.
    static std::vector<char> setCalibrationInfoToBuffer(const std::vector<CalibrationInfo>& records);

private:
    static CalibrationInfo read(exp::Memory::Cursor& in);
    /// True when all size bytes at data are 0x00, or all are 0xFF.
    static ZARVO_NO_EXPORT bool isUninitialized(const char* data, std::uint64_t size);
    /// The next field of type T, or 0 when its bytes are uninitialized.
    template <class T>
    static ZARVO_NO_EXPORT T readUnlessUnset(exp::Memory::Cursor& in);

    static constexpr std::uint64_t m_nCertificateNumberSize = 17;
    static constexpr std::uint64_t m_nCalibrationInfoSize = 32;

    unsigned char m_contentType;
    std::string m_certificateNumber;
    std::uint32_t m_expireDate;
    std::uint32_t m_issueDate;
    unsigned short m_adaptionDataChecksum;
};

}  // namespace zarvo
