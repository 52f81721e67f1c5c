#pragma once

#include <functional>
#include <string>
#include <typeinfo>

#include "core/datatypes/ParameterDescriptor.h"

namespace zarvo::exp {

/// A bool parameter, read and written through the functions given at construction.
/// Either function may be empty: the parameter is then write-only or read-only, and
/// the missing side fails at the call.
class ZARVO_EXPORT ParameterDescriptorBool : public ParameterDescriptor {
public:
    /// Setter first, getter second; neither is tested here.
    ParameterDescriptorBool(const std::string& name, const std::string& helpText, const std::string& group,
                            std::function<void(bool)> setter, std::function<bool()> getter);
    /// Copies texts and functions.
    ParameterDescriptorBool(const ParameterDescriptorBool& other);
    /// Copies the texts and takes the functions; other keeps its texts and has no functions left.
    ParameterDescriptorBool(ParameterDescriptorBool&& other);
    /// Assigns texts and functions.
    ParameterDescriptorBool& operator=(const ParameterDescriptorBool& other);
    /// Assigns the texts and takes the functions; other keeps its texts and has no
    /// functions left. Assigning a descriptor to itself changes nothing.
    ParameterDescriptorBool& operator=(ParameterDescriptorBool&& other);
    /// Releases texts and functions.
    ~ParameterDescriptorBool() override;

    /// False.
    bool isEnum() const override;
    /// False.
    bool isScalar() const override;
    /// False.
    bool isVector() const override;
    /// True.
    bool isBool() const override;
    /// typeid(bool).
    virtual const std::type_info& getTypeInfo() const;

    /// What the getter returns; throws "no getter available" without one.
    bool getValue() const;
    /// Hands value to the setter; throws "no setter available" without one.
    void setValue(bool value) const;

private:
    std::function<void(bool)> m_setter;
    std::function<bool()> m_getter;
};

}  // namespace zarvo::exp
