#pragma once

#include <memory>
#include <string>

#include "python/Bindings.h"

/// The conversions of the built-in values to and from Python objects that only the
/// Variant binder needs beside toPython and fromPython (declared in Bindings.h).
namespace zarvo::python {

/// A numpy array over the held value's memory, without a copy: a matrix's pixels
/// (writeable, as Variant.value gives them), a vector's numbers (read-only: the value
/// is shared and has no setter). The array keeps the value alive. None for a value
/// that has no such memory.
py::object viewOf(const std::shared_ptr<exp::Variant>& value);

}  // namespace zarvo::python
