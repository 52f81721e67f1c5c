#pragma once

#include <functional>
#include <string>
#include <typeinfo>

#include <opencv2/core.hpp>

#include "core/datatypes/ParameterDescriptor.h"

namespace zarvo::exp {

/// A scalar parameter of type T, read and written through the functions given at
/// construction; either may be empty, and the missing side fails at the call.
/// Values pass by copy (for a cv::Mat: a header copy sharing the pixels); the
/// descriptor neither checks nor remembers them.
/// The members are compiled in the library for T = cv::Mat only: what the range
/// getters should give for a type with a real range is not settled.
template <class T>
class ParameterDescriptorScalar : public ParameterDescriptor {
public:
    /// Setter first, getter second; neither is tested here.
    ParameterDescriptorScalar(const std::string& name, const std::string& helpText, const std::string& group,
                              std::function<void(T)> setter, std::function<T()> getter);
    /// Copies texts and functions.
    ParameterDescriptorScalar(const ParameterDescriptorScalar& other);
    /// Copies the texts and takes the functions; other keeps its texts and has no functions left.
    ParameterDescriptorScalar(ParameterDescriptorScalar&& other);
    /// Assigns texts and functions.
    ParameterDescriptorScalar& operator=(const ParameterDescriptorScalar& other);
    /// Assigns the texts and takes the functions; other keeps its texts and has no
    /// functions left. Assigning a descriptor to itself changes nothing.
    ParameterDescriptorScalar& operator=(ParameterDescriptorScalar&& other);
    /// Releases texts and functions.
    ~ParameterDescriptorScalar() override;

    /// False.
    bool isEnum() const override;
    /// True.
    bool isScalar() const override;
    /// False.
    bool isVector() const override;
    /// False.
    bool isBool() const override;
    /// typeid(T).
    virtual const std::type_info& getTypeInfo() const;
    /// The lower bound: an empty matrix, whatever the getter gives.
    virtual T getMin() const;
    /// The upper bound: an empty matrix, whatever the getter gives.
    virtual T getMax() const;
    /// The step: an empty matrix, whatever the getter gives.
    virtual T getStep() const;

    /// What the getter returns; throws "no getter available" without one.
    T getValue() const;
    /// Hands a copy of value to the setter; throws "no setter available" without one.
    void setValue(T value) const;

private:
    std::function<void(T)> m_setter;
    std::function<T()> m_getter;
};

extern template class ZARVO_EXPORT ParameterDescriptorScalar<cv::Mat>;

}  // namespace zarvo::exp
