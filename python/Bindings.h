#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "core/datatypes/Variant.h"
#include "valuefault/Exception.h"

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

/// Text of the library as a str: UTF-8, with the bytes that are none as surrogate
/// escapes ("surrogateescape", which textFrom reverses) or as \x escapes ("backslashreplace",
/// for text meant to be read).
py::str textOf(const std::string& text, const char* errors = "surrogateescape");
/// The bytes of a str, its surrogate escapes turned back into the bytes they stand for;
/// TypeError for anything but a str.
std::string textFrom(py::handle object);
/// What repr() shows of a text: control characters and bytes that are no UTF-8 as
/// backslash escapes, so that it can always be printed.
py::str shownText(const std::string& text);

/// Raises error as the Python class type (Error or a subclass), message and where text
/// decoded with backslash escapes, never cut at a NUL.
[[noreturn]] void raiseError(PyObject* type, const Exception& error);
/// zarvo_datatypes.ParseError: Error and ValueError at once, for text the strict reader refuses.
PyObject* parseErrorType();

/// A value of the built-in type T from a Python object, as Variant(value, name) takes it:
/// TypeError for an object of the wrong kind, OverflowError for a number out of range.
template <class T>
T valueFrom(py::handle object);

/// Text that goes in and out as a str with surrogate escapes (see textOf), for the
/// arguments and results that carry the library's text.
struct Text {
    std::string bytes;
};

/// A number argument read by valueFrom, so that record constructors and fields check
/// ranges as Variant does (OverflowError) instead of failing the overload (TypeError).
template <class T>
struct Number {
    T value;
};

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

/// Lets other Python threads run while this lives, if the work is over bytes bytes:
/// below that, giving the interpreter lock away and taking it back costs more than
/// the work does. Code in its scope touches no Python object.
class ReleasedFor {
public:
    /// Releases the interpreter lock for work over more than 64 KiB.
    explicit ReleasedFor(size_t bytes) {
        if (bytes > (size_t{1} << 16)) m_released.emplace();
    }

private:
    std::optional<py::gil_scoped_release> m_released;
};

/// A bytes object of size bytes, filled in place by write(char*): one copy, no buffer in
/// between, other Python threads running meanwhile when it is large.
template <class Write>
py::bytes writtenBytes(size_t size, Write write) {
    PyObject* bytes = PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size));
    if (bytes == nullptr) throw py::error_already_set();
    py::bytes result = py::reinterpret_steal<py::bytes>(bytes);
    const ReleasedFor released(size);
    write(PyBytes_AS_STRING(bytes));
    return result;
}

/// R::deserialize over any bytes-like object with the bounded reader: (value, bytes used).
template <class R>
py::tuple readBounded(py::handle data, exp::Endian endian) {
    const ByteInput input(data);
    size_t used = 0;
    std::optional<R> value;
    {
        const ReleasedFor released(input.size());
        value.emplace(R::deserialize(endian, input.data(), input.size(), used));
    }
    return py::make_tuple(std::move(*value), used);
}

}  // namespace zarvo::python

namespace pybind11::detail {

template <>
struct type_caster<zarvo::python::Text> {
    PYBIND11_TYPE_CASTER(zarvo::python::Text, const_name("str"));
    bool load(handle source, bool) {
        if (!PyUnicode_Check(source.ptr())) return false;
        value.bytes = zarvo::python::textFrom(source);
        return true;
    }
    static handle cast(const zarvo::python::Text& text, return_value_policy, handle) {
        return zarvo::python::textOf(text.bytes).release();
    }
};

template <class T>
struct type_caster<zarvo::python::Number<T>> {
    PYBIND11_TYPE_CASTER(zarvo::python::Number<T>, const_name<std::is_floating_point_v<T>>("float", "int"));
    // Raises rather than returns false: the record constructors have one overload, and
    // the error says what was wrong with the number.
    bool load(handle source, bool) {
        value.value = zarvo::python::valueFrom<T>(source);
        return true;
    }
    static handle cast(const zarvo::python::Number<T>& number, return_value_policy policy, handle parent) {
        return make_caster<T>::cast(number.value, policy, parent);
    }
};

}  // namespace pybind11::detail
