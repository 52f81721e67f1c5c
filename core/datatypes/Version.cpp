#include "core/datatypes/Version.h"

#include <cstdint>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <tuple>

#include "valuefault/Exception.h"

namespace zarvo::exp {

namespace {

// atoi's int result kept as its unsigned bit pattern: a negative part wraps around.
unsigned int numberOf(const std::string& part) { return static_cast<unsigned int>(std::atoi(part.c_str())); }

}  // namespace

std::string Version::toString() const {
    std::ostringstream text;
    text << m_major << '.' << std::setfill('0') << std::setw(2) << m_minor << '.' << std::setw(2) << m_patch;
    return text.str();
}

bool Version::operator==(const Version& other) const {
    return m_major == other.m_major && m_minor == other.m_minor && m_patch == other.m_patch;
}

bool Version::operator<(const Version& other) const {
    return std::tie(m_major, m_minor, m_patch) < std::tie(other.m_major, other.m_minor, other.m_patch);
}

size_t Version::serialize(Endian endian, char* data) const {
    size_t used = 0;
    for (unsigned int number : {m_major, m_minor, m_patch})
        used += Memory::writeField<std::uint32_t>(endian, data + used, number);
    return used;
}

Version Version::read(Memory::Cursor& in) {
    Version value;
    for (unsigned int* number : {&value.m_major, &value.m_minor, &value.m_patch}) *number = in.field<std::uint32_t>();
    return value;
}

Version Version::fromString(const std::string& text) {
    const size_t dot = text.find('.');
    if (dot == std::string::npos) ZARVO_THROW("Invalid string, cannot convert to version number !");
    const std::string rest = text.substr(dot + 1);
    const size_t second = rest.find('.');
    // Without a second dot the whole rest is the minor number.
    const unsigned int patch = second == std::string::npos ? 0 : numberOf(rest.substr(second + 1));
    return Version(numberOf(text.substr(0, dot)), numberOf(rest.substr(0, second)), patch);
}

}  // namespace zarvo::exp
