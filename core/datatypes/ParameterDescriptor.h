#pragma once

#include <string>
#include <typeinfo>

#include "valuefault/Export.h"

namespace zarvo::exp {

/// Describes one parameter: its name, group and help text. The value itself lives
/// elsewhere; the concrete kinds reach it through a setter and a getter supplied
/// by whoever builds the descriptor. Exactly one of the four predicates is true on
/// a concrete kind. Descriptors are ordered by name alone.
class ZARVO_EXPORT ParameterDescriptor {
public:
    /// Copies the texts.
    ParameterDescriptor(const ParameterDescriptor& other) = default;
    /// Releases the texts; virtual for the concrete kinds.
    virtual ~ParameterDescriptor();
    /// Assigns the texts.
    ParameterDescriptor& operator=(const ParameterDescriptor& other) = default;

    /// Whether the parameter takes one of a list of values.
    virtual bool isEnum() const = 0;
    /// Whether the parameter is a scalar (a single value of its type).
    virtual bool isScalar() const = 0;
    /// Whether the parameter is a vector of values.
    virtual bool isVector() const = 0;
    /// Whether the parameter is a bool.
    virtual bool isBool() const = 0;

    /// Not virtual, and always throws "no type here!": the concrete kinds declare
    /// their own, so only a caller holding the concrete type learns the type.
    const std::type_info& getTypeInfo() const;

    /// Compares the names alone, as std::string does; group and help text play no
    /// part, so two descriptors of the same name are equivalent.
    bool operator<(const ParameterDescriptor& other) const { return m_name < other.m_name; }

    /// The parameter's name.
    const std::string& getName() const { return m_name; }
    /// The name of the group the parameter belongs to.
    const std::string& getGroup() const { return m_group; }
    /// The text for the user.
    const std::string& getHelpText() const { return m_helpText; }

protected:
    /// Stores the three texts (note the order: name, help text, group).
    ParameterDescriptor(const std::string& name, const std::string& helpText, const std::string& group);

    /// Moves source's function out and leaves source really empty: a moved-from
    /// std::function is only valid, not necessarily empty.
    template <class Function>
    static Function takeOver(Function& source) {
        Function taken;
        taken.swap(source);
        return taken;
    }

private:
    std::string m_helpText;
    std::string m_group;
    std::string m_name;
};

}  // namespace zarvo::exp
