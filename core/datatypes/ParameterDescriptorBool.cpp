#include "core/datatypes/ParameterDescriptorBool.h"

#include <utility>

#include "valuefault/Exception.h"

namespace zarvo::exp {

ParameterDescriptorBool::ParameterDescriptorBool(const std::string& name, const std::string& helpText,
                                                 const std::string& group, std::function<void(bool)> setter,
                                                 std::function<bool()> getter)
    : ParameterDescriptor(name, helpText, group), m_setter(std::move(setter)), m_getter(std::move(getter)) {}

ParameterDescriptorBool::ParameterDescriptorBool(const ParameterDescriptorBool& other) = default;

ParameterDescriptorBool::ParameterDescriptorBool(ParameterDescriptorBool&& other)
    : ParameterDescriptor(other), m_setter(takeOver(other.m_setter)), m_getter(takeOver(other.m_getter)) {}

ParameterDescriptorBool& ParameterDescriptorBool::operator=(const ParameterDescriptorBool& other) = default;

ParameterDescriptorBool& ParameterDescriptorBool::operator=(ParameterDescriptorBool&& other) {
    if (this == &other) return *this;
    ParameterDescriptor::operator=(other);
    m_setter = takeOver(other.m_setter);
    m_getter = takeOver(other.m_getter);
    return *this;
}

ParameterDescriptorBool::~ParameterDescriptorBool() = default;

bool ParameterDescriptorBool::isEnum() const { return false; }

bool ParameterDescriptorBool::isScalar() const { return false; }

bool ParameterDescriptorBool::isVector() const { return false; }

bool ParameterDescriptorBool::isBool() const { return true; }

const std::type_info& ParameterDescriptorBool::getTypeInfo() const { return typeid(bool); }

bool ParameterDescriptorBool::getValue() const {
    if (!m_getter) ZARVO_THROW("no getter available");
    return m_getter();
}

void ParameterDescriptorBool::setValue(bool value) const {
    if (!m_setter) ZARVO_THROW("no setter available");
    m_setter(value);
}

}  // namespace zarvo::exp
