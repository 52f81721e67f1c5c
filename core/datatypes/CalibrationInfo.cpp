#include "core/datatypes/CalibrationInfo.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <sstream>

namespace zarvo {

bool CalibrationInfo::operator==(const CalibrationInfo& other) const {
    return m_contentType == other.m_contentType && m_certificateNumber == other.m_certificateNumber &&
           m_expireDate == other.m_expireDate && m_issueDate == other.m_issueDate &&
           m_adaptionDataChecksum == other.m_adaptionDataChecksum;
}

template <class T>
T CalibrationInfo::readUnlessUnset(exp::Memory::Cursor& in) {
    // The test runs on the bytes as stored, so it does not depend on the Endian.
    const char* raw = in.take(sizeof(T));
    return isUninitialized(raw, sizeof(T)) ? T(0) : exp::Memory::Cursor(in.endian(), raw, sizeof(T)).field<T>();
}

size_t CalibrationInfo::serialize(exp::Endian endian, char* data) const {
    size_t used = exp::Memory::writeField(endian, data, m_contentType);
    std::memset(data + used, 0, m_nCertificateNumberSize);
    std::memcpy(data + used, m_certificateNumber.data(),
                std::min(m_certificateNumber.size(), m_nCertificateNumberSize));
    used += m_nCertificateNumberSize;
    used += exp::Memory::writeField(endian, data + used, m_expireDate);
    used += exp::Memory::writeField(endian, data + used, m_issueDate);
    used += exp::Memory::writeField(endian, data + used, m_adaptionDataChecksum);
    return used + exp::Memory::writeField(endian, data + used, std::uint32_t(0));  // reserved
}

CalibrationInfo CalibrationInfo::read(exp::Memory::Cursor& in) {
    CalibrationInfo value;
    value.m_contentType = in.field<unsigned char>();  // has no not-set state
    const char* certificate = in.take(m_nCertificateNumberSize);
    if (!isUninitialized(certificate, m_nCertificateNumberSize))
        value.m_certificateNumber.assign(certificate,
                                         std::find(certificate, certificate + m_nCertificateNumberSize, '\0'));
    value.m_expireDate = readUnlessUnset<std::uint32_t>(in);
    value.m_issueDate = readUnlessUnset<std::uint32_t>(in);
    value.m_adaptionDataChecksum = readUnlessUnset<unsigned short>(in);
    in.take(4);  // reserved
    return value;
}

bool CalibrationInfo::isUninitialized(const char* data, std::uint64_t size) {
    const auto all = [&](char byte) { return std::all_of(data, data + size, [byte](char c) { return c == byte; }); };
    return all('\x00') || all('\xFF');
}

std::string CalibrationInfo::toString() const {
    std::ostringstream text;
    text << "CalibrationInfo:" << std::endl
         << "ContentType: " << static_cast<unsigned int>(m_contentType) << std::endl
         << "CertificateNumber: " << m_certificateNumber << std::endl
         << "ExpireDate: " << m_expireDate << std::endl
         << "IssueDate: " << m_issueDate << std::endl
         << "Checksum: " << m_adaptionDataChecksum << std::endl;
    return text.str();
}

std::vector<CalibrationInfo> CalibrationInfo::getCalibrationInfoFromBuffer(const std::vector<char>& buffer) {
    std::vector<CalibrationInfo> records;
    records.reserve(buffer.size() / m_nCalibrationInfoSize);
    for (size_t offset = 0; buffer.size() - offset >= m_nCalibrationInfoSize; offset += m_nCalibrationInfoSize) {
        size_t used = 0;
        records.push_back(deserialize(exp::no_swap, buffer.data() + offset, used));
    }
    return records;
}

std::vector<char> CalibrationInfo::setCalibrationInfoToBuffer(const std::vector<CalibrationInfo>& records) {
    std::vector<char> buffer(records.size() * m_nCalibrationInfoSize, 0);
    for (size_t i = 0; i < records.size(); ++i)
        records[i].serialize(exp::no_swap, buffer.data() + i * m_nCalibrationInfoSize);
    return buffer;
}

}  // namespace zarvo
