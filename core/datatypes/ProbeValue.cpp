#include "core/datatypes/ProbeValue.h"

#include <sstream>

#include "valuetext/ValueText.h"

namespace zarvo {

size_t ProbeValue::serialize(exp::Endian endian, char* data) const {
    size_t used = exp::Memory::writeField(endian, data, m_value);
    used += exp::Memory::writeField(endian, data + used, m_precision);
    return used + exp::Memory::writeField(endian, data + used, m_status);
}

ProbeValue ProbeValue::read(exp::Memory::Cursor& in) {
    const float value = in.field<float>();
    const signed char precision = in.field<signed char>();
    return ProbeValue(value, precision, in.field<unsigned char>());
}

std::string ProbeValue::toString() const {
    std::ostringstream text;
    text << "Value: " << m_value << "\nPrecision: " << exp::intern::toStringTimpl<signed char>(m_precision)
         << "\nStatus: " << exp::intern::toStringTimpl<unsigned char>(m_status);
    return text.str();
}

}  // namespace zarvo
