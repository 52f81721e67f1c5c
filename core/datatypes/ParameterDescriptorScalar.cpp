#include "core/datatypes/ParameterDescriptorScalar.h"

#include <utility>

#include "valuefault/Exception.h"

namespace zarvo::exp {

template <class T>
ParameterDescriptorScalar<T>::ParameterDescriptorScalar(const std::string& name, const std::string& helpText,
                                                        const std::string& group, std::function<void(T)> setter,
                                                        std::function<T()> getter)
    : ParameterDescriptor(name, helpText, group), m_setter(std::move(setter)), m_getter(std::move(getter)) {}

template <class T>
ParameterDescriptorScalar<T>::ParameterDescriptorScalar(const ParameterDescriptorScalar& other) = default;

template <class T>
ParameterDescriptorScalar<T>::ParameterDescriptorScalar(ParameterDescriptorScalar&& other)
    : ParameterDescriptor(other), m_setter(takeOver(other.m_setter)), m_getter(takeOver(other.m_getter)) {}

template <class T>
ParameterDescriptorScalar<T>& ParameterDescriptorScalar<T>::operator=(const ParameterDescriptorScalar& other) = default;

template <class T>
ParameterDescriptorScalar<T>& ParameterDescriptorScalar<T>::operator=(ParameterDescriptorScalar&& other) {
    if (this == &other) return *this;
    ParameterDescriptor::operator=(other);
    m_setter = takeOver(other.m_setter);
    m_getter = takeOver(other.m_getter);
    return *this;
}

template <class T>
ParameterDescriptorScalar<T>::~ParameterDescriptorScalar() = default;

template <class T>
bool ParameterDescriptorScalar<T>::isEnum() const {
    return false;
}

template <class T>
bool ParameterDescriptorScalar<T>::isScalar() const {
    return true;
}

template <class T>
bool ParameterDescriptorScalar<T>::isVector() const {
    return false;
}

template <class T>
bool ParameterDescriptorScalar<T>::isBool() const {
    return false;
}

template <class T>
const std::type_info& ParameterDescriptorScalar<T>::getTypeInfo() const {
    return typeid(T);
}

template <class T>
T ParameterDescriptorScalar<T>::getMin() const {
    return T();
}

template <class T>
T ParameterDescriptorScalar<T>::getMax() const {
    return T();
}

template <class T>
T ParameterDescriptorScalar<T>::getStep() const {
    return T();
}

template <class T>
T ParameterDescriptorScalar<T>::getValue() const {
    if (!m_getter) ZARVO_THROW("no getter available");
    return m_getter();
}

template <class T>
void ParameterDescriptorScalar<T>::setValue(T value) const {
    if (!m_setter) ZARVO_THROW("no setter available");
    m_setter(value);
}

template class ParameterDescriptorScalar<cv::Mat>;

}  // namespace zarvo::exp
