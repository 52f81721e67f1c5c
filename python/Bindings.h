#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <memory>
#include <string>

#include "core/datatypes/Variant.h"

/// What the module's source files share: one binder per family of classes, the
/// conversions between values and Python objects, and the two ends of every byte form.
namespace zarvo::python {

namespace py = pybind11;

/// Endian, Variant and the registry functions.
void bindVariant(py::module_& module);
/// DataStorage, with its dict and byte forms.
void bindStorage(py::module_& module);
/// Frame: pixels shared with numpy, metadata as a DataStorage.
void bindFrame(py::module_& module);
/// MarkedFloat and the records with their byte and text forms.
void bindRecords(py::module_& module);
/// CuratorStorage with Python generators and validators, Change and Subscription.
void bindCurators(py::module_& module);

/// The held value as the natural Python object (see Variant.value); a type without
/// one raises TypeError.
py::object toPython(const exp::Variant& value);
/// A new value of the registered type name made from a Python object; raises
/// TypeError for an object of the wrong kind, OverflowError for a number out of range.
std::shared_ptr<exp::Variant> fromPython(py::handle object, const std::string& name);
/// A value of a type guessed from the Python object, for DataStorage.from_dict.
std::shared_ptr<exp::Variant> guessedFromPython(py::handle object);

/// Raises the Python exception type (PyExc_TypeError, ...) with message: the one
/// place where the module's own errors are made.
[[noreturn]] inline void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw py::error_already_set();
}

/// The bytes of any contiguous bytes-like object, held for as long as this lives.
class ByteInput {
public:
    /// Raises TypeError for an object that offers no contiguous buffer (None included).
    explicit ByteInput(py::handle object);
    /// Releases the buffer.
    ~ByteInput();
    ByteInput(const ByteInput&) = delete;
    ByteInput& operator=(const ByteInput&) = delete;

    /// The first byte.
    const char* data() const { return static_cast<const char*>(m_view.buf); }
    /// How many bytes there are.
    size_t size() const { return static_cast<size_t>(m_view.len); }

private:
    Py_buffer m_view{};
};

/// A bytes object of size bytes, filled in place by write(char*): one copy, no buffer in between.
template <class Write>
py::bytes writtenBytes(size_t size, Write write) {
    PyObject* bytes = PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size));
    if (bytes == nullptr) throw py::error_already_set();
    py::bytes result = py::reinterpret_steal<py::bytes>(bytes);
    write(PyBytes_AS_STRING(bytes));
    return result;
}

/// R::deserialize over any bytes-like object with the bounded reader: (value, bytes used).
template <class R>
py::tuple readBounded(py::handle data, exp::Endian endian) {
    const ByteInput input(data);
    size_t used = 0;
    R value = R::deserialize(endian, input.data(), input.size(), used);
    return py::make_tuple(std::move(value), used);
}

}  // namespace zarvo::python
