#include "core/datatypes/VersionExtended.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <tuple>

#include "valuefault/Exception.h"

namespace zarvo::exp {

std::string VersionExtended::toString() const {
    std::ostringstream text;
    text << m_major << '.' << m_minor << '.' << m_patch;
    if (m_buildNumber != 0) text << '.' << m_buildNumber;
    return text.str();
}

bool VersionExtended::operator==(const VersionExtended& other) const {
    return m_major == other.m_major && m_minor == other.m_minor && m_patch == other.m_patch &&
           m_buildNumber == other.m_buildNumber;
}

bool VersionExtended::operator<(const VersionExtended& other) const {
    return std::tie(m_major, m_minor, m_patch, m_buildNumber) <
           std::tie(other.m_major, other.m_minor, other.m_patch, other.m_buildNumber);
}

size_t VersionExtended::serialize(Endian endian, char* data) const {
    size_t used = 0;
    for (unsigned int number : {m_major, m_minor, m_patch, m_buildNumber})
        used += Memory::writeField<std::uint32_t>(endian, data + used, number);
    return used;
}

VersionExtended VersionExtended::read(Memory::Cursor& in) {
    VersionExtended value;
    for (unsigned int* number : {&value.m_major, &value.m_minor, &value.m_patch, &value.m_buildNumber})
        *number = in.field<std::uint32_t>();
    return value;
}

VersionExtended VersionExtended::fromString(const std::string& text) {
    // Only digits and dots pass, so atoi below never sees a sign or a blank.
    if (text.empty() || text.find_first_not_of(".0123456789") != std::string::npos ||
        std::count(text.begin(), text.end(), '.') > 3)
        ZARVO_THROW("Version number invalid or empty !");
    VersionExtended value;
    unsigned int* numbers[] = {&value.m_major, &value.m_minor, &value.m_patch, &value.m_buildNumber};
    size_t start = 0;
    for (unsigned int* number : numbers) {
        if (start > text.size()) break;  // fewer parts than numbers: the rest stay 0
        const size_t dot = std::min(text.find('.', start), text.size());
        *number = static_cast<unsigned int>(std::atoi(text.substr(start, dot - start).c_str()));
        start = dot + 1;
    }
    return value;
}

}  // namespace zarvo::exp
