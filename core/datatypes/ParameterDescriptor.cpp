#include "core/datatypes/ParameterDescriptor.h"

#include "valuefault/Exception.h"

namespace zarvo::exp {

ParameterDescriptor::ParameterDescriptor(const std::string& name, const std::string& helpText, const std::string& group)
    : m_helpText(helpText), m_group(group), m_name(name) {}

ParameterDescriptor::~ParameterDescriptor() = default;

const std::type_info& ParameterDescriptor::getTypeInfo() const { ZARVO_THROW("no type here!"); }

}  // namespace zarvo::exp
