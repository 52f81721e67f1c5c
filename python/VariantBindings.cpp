#include <string>

#include "core/datatypes/TypeObject.h"
#include "python/Bindings.h"
#include "python/ValueConversion.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Endian;
using exp::Variant;

ByteInput::ByteInput(py::handle object) {
    if (PyObject_GetBuffer(object.ptr(), &m_view, PyBUF_C_CONTIGUOUS) != 0) throw py::error_already_set();
}

ByteInput::~ByteInput() { PyBuffer_Release(&m_view); }

py::str textOf(const std::string& text, const char* errors) {
    PyObject* decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), errors);
    if (decoded == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

std::string textFrom(py::handle object) {
    if (!PyUnicode_Check(object.ptr()))
        raise(PyExc_TypeError, "a text needs a str, not " + std::string(Py_TYPE(object.ptr())->tp_name));
    // Valid UTF-8 straight from the str, which keeps it once made; surrogate escapes
    // (no UTF-8 of their own) through the codec.
    Py_ssize_t size = 0;
    if (const char* utf8 = PyUnicode_AsUTF8AndSize(object.ptr(), &size))
        return std::string(utf8, static_cast<size_t>(size));
    PyErr_Clear();
    PyObject* bytes = PyUnicode_AsEncodedString(object.ptr(), "utf-8", "surrogateescape");
    if (bytes == nullptr) throw py::error_already_set();
    const auto owned = py::reinterpret_steal<py::bytes>(bytes);
    return std::string(PyBytes_AS_STRING(bytes), static_cast<size_t>(PyBytes_GET_SIZE(bytes)));
}

py::str shownText(const std::string& text) { return textOf(Exception::printable(text), "backslashreplace"); }

namespace {

py::str reprOf(const Variant& value) {
    try {
        return shownText("<Variant " + value.getTypeString() + ": " + value.toString() + ">");
    } catch (const Exception&) { return shownText("<Variant " + value.getTypeString() + " (no text form)>"); }
}

// The value as something len, iteration and [] work on: the numbers of a vector
// without a copy, the items of a list or of a vector of other things as a list.
py::object sequenceOf(const std::shared_ptr<Variant>& value) {
    if (value->isContainer()) {
        py::object view = viewOf(value);
        return view.is_none() ? toPython(*value) : view;
    }
    raise(PyExc_TypeError, "a " + value->getTypeString() + " value is no sequence");
}

// The held number as a Python int or float, for int(), float() and index().
py::object numberOf(const Variant& value, bool integral, const char* use) {
    if (!value.isArithmetic() || (integral && !value.isIntegral()))
        raise(PyExc_TypeError, std::string(use) + " needs a" + (integral ? "n integral" : " number") + " value, not " +
                                   value.getTypeString());
    return toPython(value);
}

// Pickles carry (name, endian, data): data is the numbers or pixels as a numpy array
// where the value has them in one piece, so that protocol 5 moves them out of band;
// else the byte form, little-endian where the type has both orders.
py::tuple stateOf(const std::shared_ptr<Variant>& value) {
    const std::string name = value->getTypeString();
    py::object view = viewOf(value);
    const Endian endian = value->isSwappable() ? exp::little_endian : exp::no_swap;
    if (!view.is_none()) return py::make_tuple(name, endian, view);
    return py::make_tuple(name, endian,
                          writtenBytes(value->sizeofT_imp(), [&](char* data) { value->serialize_imp(endian, data); }));
}

std::shared_ptr<Variant> fromState(const py::tuple& state) {
    const auto name = state[0].cast<std::string>();
    if (!PyBytes_Check(state[2].ptr())) return fromPython(state[2], name);
    const ByteInput input(state[2]);
    size_t used = 0;
    return Variant::deserialize(name, state[1].cast<Endian>(), input.data(), input.size(), used);
}

}  // namespace

void bindVariant(py::module_& module) {
    py::enum_<Endian>(module, "Endian",
                      "Byte order of every byte form: no_swap keeps the host's order (little-endian on x86 and "
                      "ARM), swap reverses each multi-byte field (big-endian there). big_endian and "
                      "little_endian name the order of the bytes and are swap or no_swap by the host.")
        .value("swap", exp::swap, "Each multi-byte field reversed against the host's order.")
        .value("no_swap", exp::no_swap, "The host's order.")
        .value("big_endian", exp::big_endian, "Big-endian bytes, whatever the host.")
        .value("little_endian", exp::little_endian, "Little-endian bytes, whatever the host.");

    module.def(
        "type_names",
        [] {
            py::list names;
            for (const std::string& name : exp::TypeObject::typeStrings()) names.append(textOf(name));
            return names;
        },
        "The registered type names in registration order: the built-in ones, then those registered by "
        "C++ code loaded into this process.");

    py::class_<Variant, std::shared_ptr<Variant>>(
        module, "Variant",
        "A value of a registered type, known by its name (see type_names()). Shared, never copied: a DataStorage "
        "or a record holding it holds the same object. A number value works with int(), float(), bool() and "
        "operator.index(); a vector or list value with len(), iteration and []; np.asarray() gives a vector's "
        "numbers (read-only) and a matrix's pixels without a copy.")
        .def(py::init([](py::handle value, const Text& name) { return fromPython(value, name.bytes); }), "value"_a,
             "name"_a,
             "A value of the registered type name made from a Python object: bool, int (range checked), float, "
             "str; an iterable or numpy array for vectors (same kind of number), an iterable for lists, a tuple "
             "for cvsize (w, h), cvpoint (x, y) and cvrect (x, y, w, h). A cvmat shares a C-contiguous, "
             "writeable array of an OpenCV dtype (u1 i1 u2 i2 i4 f2 f4 f8) and keeps it alive; any other array "
             "is copied (bool as uint8, wider integers as int32 when they fit). Raises TypeError for a wrong "
             "kind of object, OverflowError for a number out of range, Error for an unknown name.")
        .def_static(
            "from_string",
            [](const Text& name, const Text& text) { return Variant::fromString(name.bytes, text.bytes); }, "name"_a,
            "text"_a,
            "Parses the text form of the registered type name leniently, as a stream reads it; None for "
            "'void'.")
        .def_static(
            "parse",
            [](const Text& name, const Text& text) {
                try {
                    return Variant::parse(name.bytes, text.bytes);
                } catch (const Exception& error) { raiseError(parseErrorType(), error); }
            },
            "name"_a, "text"_a,
            "Reads text that holds exactly one value of the registered type name, as to_string writes it. "
            "Anything else (no number, trailing characters, a value out of range) raises ParseError, a "
            "ValueError, whose message names the type and the text.")
        .def(
            "to_string", [](const Variant& value) { return Text{value.toString()}; },
            "The text form; Error for a type without one (cvmat, cvsize, cvrect). Bytes that are no UTF-8 "
            "come as surrogate escapes, which from_string and parse take back.")
        .def_property_readonly(
            "type_name", [](const Variant& value) { return Text{value.getTypeString()}; },
            "The registered name of the held type.")
        .def_property_readonly("value", &toPython,
                               "The value as a Python object: bool, int, float, str; a numpy array (a copy) for "
                               "a vector of numbers, a list for a list and for vectors of str or cvmat, a tuple "
                               "for cvsize, cvpoint and cvrect. A cvmat gives a numpy array over its pixels, no "
                               "copy: the array keeps them alive, also when the Variant is gone.")
        .def(
            "serialize",
            [](const Variant& value, Endian endian) {
                return writtenBytes(value.sizeofT_imp(), [&](char* data) { value.serialize_imp(endian, data); });
            },
            "endian"_a, "The byte form in the given byte order, as bytes.")
        .def_static(
            "deserialize",
            [](const Text& name, py::handle data, Endian endian) {
                const ByteInput input(data);
                size_t used = 0;
                std::shared_ptr<Variant> value;
                {
                    const ReleasedFor released(input.size());
                    value = Variant::deserialize(name.bytes, endian, input.data(), input.size(), used);
                }
                return py::make_tuple(std::move(value), used);
            },
            "name"_a, "data"_a, "endian"_a,
            "Reads one value of the registered type name from any bytes-like object, never past its "
            "end; returns (value, bytes used), (None, 0) for 'void'. Bytes that end early or hold an "
            "implausible count raise Error.")
        .def(
            "__eq__",
            [](const std::shared_ptr<Variant>& self, const std::shared_ptr<Variant>& other) {
                return self->equal_imp(other);
            },
            py::is_operator(),
            "The library's equality: integers by value across their types, everything else within one type; "
            "Error for cvmat, which has none.")
        .def("__repr__", &reprOf)
        .def(
            "__bool__",
            [](const std::shared_ptr<Variant>& self) {
                if (self->isArithmetic()) return self->toBool();
                if (self->isContainer()) return py::len(sequenceOf(self)) > 0;
                const auto* text = self->getIf<std::string>();
                return text == nullptr || !text->empty();
            },
            "A number's truth; whether a vector, list or string has anything; True for the rest.")
        .def(
            "__int__", [](const Variant& self) { return py::int_(numberOf(self, false, "int()")); },
            "A number value as an int (a float truncated).")
        .def(
            "__index__", [](const Variant& self) { return py::int_(numberOf(self, true, "index()")); },
            "A bool, char or integer value as an int.")
        .def(
            "__float__", [](const Variant& self) { return py::float_(numberOf(self, false, "float()")); },
            "A number value as a float.")
        .def(
            "__len__", [](const std::shared_ptr<Variant>& self) { return py::len(sequenceOf(self)); },
            "The number of items of a vector or list value.")
        .def(
            "__iter__", [](const std::shared_ptr<Variant>& self) { return py::iter(sequenceOf(self)); },
            "Iterates over the items of a vector or list value.")
        .def(
            "__getitem__",
            [](const std::shared_ptr<Variant>& self, py::handle index) -> py::object {
                return sequenceOf(self)[index];
            },
            "index"_a, "An item (or a slice) of a vector or list value, as numpy or a list gives it.")
        .def(
            "__array__",
            [](const std::shared_ptr<Variant>& self, py::object dtype, py::object copy) {
                py::object view = viewOf(self);
                const py::module_ numpy = py::module_::import("numpy");
                py::object array = numpy.attr("asarray")(view.is_none() ? toPython(*self) : view, dtype);
                return copy.is_none() || !copy.cast<bool>() ? array : array.attr("copy")();
            },
            "dtype"_a = py::none(), "copy"_a = py::none(),
            "The value as a numpy array: a vector's numbers (read-only) and a matrix's pixels without a copy, "
            "unless copy is True.")
        .def(py::pickle(&stateOf, &fromState))
        .attr("__hash__") = py::none();
}

}  // namespace zarvo::python
