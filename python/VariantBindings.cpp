#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <list>
#include <string>
#include <type_traits>
#include <typeindex>
#include <unordered_map>
#include <vector>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"
#include "python/Bindings.h"
#include "python/NumpyMatrix.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::DataStorage;
using exp::Endian;
using exp::Variant;
using exp::Variant_;
using Storage = DataStorage<std::string>;

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
    if (const char* utf8 = PyUnicode_AsUTF8AndSize(object.ptr(), &size)) return std::string(utf8, static_cast<size_t>(size));
    PyErr_Clear();
    PyObject* bytes = PyUnicode_AsEncodedString(object.ptr(), "utf-8", "surrogateescape");
    if (bytes == nullptr) throw py::error_already_set();
    const auto owned = py::reinterpret_steal<py::bytes>(bytes);
    return std::string(PyBytes_AS_STRING(bytes), static_cast<size_t>(PyBytes_GET_SIZE(bytes)));
}

py::str shownText(const std::string& text) { return textOf(Exception::printable(text), "backslashreplace"); }

namespace {

template <class T>
struct IsVector : std::false_type {};
template <class E>
struct IsVector<std::vector<E>> : std::true_type {};

std::string typeName(py::handle object) { return py::str(py::type::handle_of(object).attr("__name__")); }

// The numpy dtype code of an element type: "?" for bool, else kind and width.
template <class E>
std::string dtypeCode() {
    if constexpr (std::is_same_v<E, bool>) return "?";
    else return (std::is_floating_point_v<E> ? "f" : std::is_signed_v<E> ? "i" : "u") + std::to_string(sizeof(E));
}

// One value of T to and from Python; the families are the specialisations below.
template <class T, class = void>
struct Convert;

template <>
struct Convert<bool> {
    static py::object toPython(bool value) { return py::bool_(value); }
    static bool fromPython(py::handle object) {
        if (!PyBool_Check(object.ptr()) && typeName(object) != "bool_")
            raise(PyExc_TypeError, "a bool value needs True or False, not " + typeName(object));
        return PyObject_IsTrue(object.ptr()) == 1;
    }
};

// The integers: any object with __index__ (int, numpy integers), checked against T's range.
template <class T>
struct Convert<T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>>> {
    static py::object toPython(T value) {
        if constexpr (std::is_signed_v<T>) return py::int_(static_cast<long long>(value));
        else return py::int_(static_cast<unsigned long long>(value));
    }
    static T fromPython(py::handle object) {
        PyObject* index = PyNumber_Index(object.ptr());
        if (index == nullptr) {
            PyErr_Clear();
            raise(PyExc_TypeError, "an integer value needs an int, not " + typeName(object));
        }
        const py::int_ number = py::reinterpret_steal<py::int_>(index);
        const bool fits = number >= py::int_(toPython(std::numeric_limits<T>::min())) &&
                          number <= py::int_(toPython(std::numeric_limits<T>::max()));
        if (!fits)
            raise(PyExc_OverflowError, py::repr(number).cast<std::string>() + " is out of the range of " +
                                           exp::getStringFromType(typeid(T)));
        if constexpr (std::is_signed_v<T>) return static_cast<T>(number.cast<long long>());
        else return static_cast<T>(number.cast<unsigned long long>());
    }
};

template <class T>
struct Convert<T, std::enable_if_t<std::is_floating_point_v<T>>> {
    static py::object toPython(T value) { return py::float_(static_cast<double>(value)); }
    static T fromPython(py::handle object) {
        // float() would also parse a text: only numbers are taken.
        if (PyUnicode_Check(object.ptr()) || PyBytes_Check(object.ptr()) || PyByteArray_Check(object.ptr()))
            raise(PyExc_TypeError, "a float value needs a number, not " + typeName(object));
        const double value = PyFloat_AsDouble(object.ptr());
        if (value == -1.0 && PyErr_Occurred()) {
            const bool tooLarge = PyErr_ExceptionMatches(PyExc_OverflowError);
            PyErr_Clear();
            if (tooLarge) outOfRange(object);
            raise(PyExc_TypeError, "a float value needs a number, not " + typeName(object));
        }
        if constexpr (std::is_same_v<T, float>) {
            // As struct.pack("f") rounds: what rounds to the largest float is taken as it,
            // anything beyond (an out-of-range conversion in C++) is refused.
            constexpr double beyond = 0x1.ffffffp127;  // halfway between FLT_MAX and 2^128
            if (std::isfinite(value) && std::fabs(value) >= beyond) outOfRange(object);
            if (std::isfinite(value) && std::fabs(value) > FLT_MAX) return value < 0 ? -FLT_MAX : FLT_MAX;
        }
        return static_cast<T>(value);
    }
    [[noreturn]] static void outOfRange(py::handle object) {
        raise(PyExc_OverflowError, py::repr(object).cast<std::string>() + " is out of the range of " +
                                       exp::getStringFromType(typeid(T)));
    }
};

// Text as UTF-8; bytes that are no UTF-8 survive the round trip as surrogate escapes.
template <>
struct Convert<std::string> {
    static py::object toPython(const std::string& value) { return textOf(value); }
    static std::string fromPython(py::handle object) {
        if (!PyUnicode_Check(object.ptr())) raise(PyExc_TypeError, "a string value needs a str, not " + typeName(object));
        return textFrom(object);
    }
};

template <>
struct Convert<cv::Mat> {
    static py::object toPython(const cv::Mat& value) { return arrayOf(value); }
    static cv::Mat fromPython(py::handle object) { return matOf(object); }
};

// The geometry types as tuples of their int fields, in the order of their byte form:
// (width, height), (x, y), (x, y, width, height).
template <class T, int T::*... fields>
struct ConvertFields {
    static py::object toPython(const T& value) { return py::make_tuple(value.*fields...); }
    static T fromPython(py::handle object) {
        constexpr size_t count = sizeof...(fields);
        if (!py::isinstance<py::sequence>(object) || py::isinstance<py::str>(object) || py::len(object) != count)
            raise(PyExc_TypeError, exp::getStringFromType(typeid(T)) + std::string(" needs a sequence of ") +
                                       std::to_string(count) + " ints, not " + typeName(object));
        const auto items = py::reinterpret_borrow<py::sequence>(object);
        T value;
        size_t i = 0;
        ((value.*fields = Convert<int>::fromPython(items[i++])), ...);
        return value;
    }
};

template <>
struct Convert<cv::Size_<int>> : ConvertFields<cv::Size_<int>, &cv::Size_<int>::width, &cv::Size_<int>::height> {};
template <>
struct Convert<cv::Point_<int>> : ConvertFields<cv::Point_<int>, &cv::Point_<int>::x, &cv::Point_<int>::y> {};
template <>
struct Convert<cv::Rect_<int>> : ConvertFields<cv::Rect_<int>, &cv::Rect_<int>::x, &cv::Rect_<int>::y,
                                               &cv::Rect_<int>::width, &cv::Rect_<int>::height> {};

// A group: a DataStorage object (copied by its copy rule) or a dict.
template <>
struct Convert<Storage> {
    static py::object toPython(const Storage& value) { return py::cast(value); }
    static Storage fromPython(py::handle object) {
        if (py::isinstance<py::dict>(object)) return py::type::of<Storage>().attr("from_dict")(object).cast<Storage>();
        if (!py::isinstance<Storage>(object))
            raise(PyExc_TypeError, "a storage value needs a DataStorage or a dict, not " + typeName(object));
        return object.cast<const Storage&>();
    }
};

// A 1-dimensional array of E's dtype holding object's numbers: the kinds must match
// (bool for bool, integers for integers, any number for floats), integers must fit.
template <class E>
py::array elementsOf(py::handle object) {
    const py::module_ numpy = py::module_::import("numpy");
    // numpy takes an iterator for one object; a generator or a set is read as a list, as
    // the list types read every iterable.
    const bool iterator = !PySequence_Check(object.ptr()) && !PyObject_CheckBuffer(object.ptr()) &&
                          !PyUnicode_Check(object.ptr()) && py::isinstance<py::iterable>(object) &&
                          !py::hasattr(object, "__array__") && !py::hasattr(object, "__array_interface__");
    const auto source = py::reinterpret_borrow<py::object>(object);
    py::array array = numpy.attr("asarray")(iterator ? py::list(source) : source);
    if (array.ndim() != 1)
        raise(PyExc_ValueError, "a vector needs 1 axis, not " + std::to_string(array.ndim()));
    const py::dtype target(dtypeCode<E>());
    if (array.size() == 0 || array.dtype().is(target) || array.dtype().equal(target))
        return numpy.attr("ascontiguousarray")(array, target);
    const char kind = array.dtype().kind();
    if (kind == 'O') {  // Python numbers beyond every dtype: each is checked as a scalar would be
        for (py::handle item : array) Convert<E>::fromPython(item);
        return numpy.attr("ascontiguousarray")(array, target);
    }
    const std::string accepted = std::is_same_v<E, bool> ? "b" : std::is_integral_v<E> ? "biu" : "biuf";
    if (accepted.find(kind) == std::string::npos)
        raise(PyExc_TypeError, std::string("a vector of ") + exp::getStringFromType(typeid(E)) + " cannot hold dtype " +
                                   py::str(py::handle(array.dtype())).cast<std::string>());
    if (!numpy.attr("can_cast")(array.dtype(), target).cast<bool>()) {
        // Raise OverflowError with the offending end; a NaN or an infinity fits any float.
        const py::array finite = array[numpy.attr("isfinite")(array)];
        if (finite.size() > 0) {
            Convert<E>::fromPython(numpy.attr("min")(finite));
            Convert<E>::fromPython(numpy.attr("max")(finite));
        }
    }
    return numpy.attr("ascontiguousarray")(array, target);
}

template <class E>
struct Convert<std::vector<E>> {
    static py::object toPython(const std::vector<E>& value) {
        if constexpr (std::is_arithmetic_v<E>) {
            py::array array(py::dtype(dtypeCode<E>()), std::vector<py::ssize_t>{static_cast<py::ssize_t>(value.size())});
            if constexpr (std::is_same_v<E, bool>)  // std::vector<bool> keeps bits
                std::copy(value.begin(), value.end(), static_cast<bool*>(array.mutable_data()));
            else if (!value.empty())
                std::memcpy(array.mutable_data(), value.data(), value.size() * sizeof(E));
            return std::move(array);
        } else {
            py::list items;
            for (const E& element : value) items.append(Convert<E>::toPython(element));
            return std::move(items);
        }
    }
    static std::vector<E> fromPython(py::handle object) {
        if constexpr (std::is_arithmetic_v<E>) {
            const py::array array = elementsOf<E>(object);
            const auto* first = static_cast<const E*>(array.data());
            const ReleasedFor released(static_cast<size_t>(array.nbytes()));
            return std::vector<E>(first, first + array.size());
        } else {
            return itemsOf<std::vector<E>>(object);
        }
    }
    template <class Sequence>
    static Sequence itemsOf(py::handle object) {
        if (py::isinstance<py::str>(object) || !py::isinstance<py::iterable>(object))
            raise(PyExc_TypeError, "a sequence value needs an iterable, not " + typeName(object));
        Sequence items;
        for (py::handle item : object) items.push_back(Convert<E>::fromPython(item));
        return items;
    }
};

template <class E>
struct Convert<std::list<E>> {
    static py::object toPython(const std::list<E>& value) {
        py::list items;
        for (const E& element : value) items.append(Convert<E>::toPython(element));
        return std::move(items);
    }
    static std::list<E> fromPython(py::handle object) {
        return Convert<std::vector<E>>::template itemsOf<std::list<E>>(object);
    }
};

// A numpy array over the held value's memory, without a copy: a matrix's pixels
// (writeable, as Variant.value gives them), a vector's numbers (read-only: the
// value is shared and has no setter). The array keeps the value alive. None for a
// value that has no such memory.
template <class T>
py::object viewOf(const std::shared_ptr<Variant>& value) {
    const T& held = *static_cast<const T*>(value->constAddress_imp());
    if constexpr (std::is_same_v<T, cv::Mat>) {
        return arrayOf(held);
    } else if constexpr (IsVector<T>::value) {
        using E = typename T::value_type;
        if constexpr (std::is_arithmetic_v<E> && !std::is_same_v<E, bool>) {
            auto* owner = new std::shared_ptr<Variant>(value);
            const py::capsule base(owner, [](void* held) { delete static_cast<std::shared_ptr<Variant>*>(held); });
            py::array array(py::dtype(dtypeCode<E>()), {static_cast<py::ssize_t>(held.size())},
                            {static_cast<py::ssize_t>(sizeof(E))}, held.data(), base);
            array.attr("setflags")("write"_a = false);
            return std::move(array);
        }
    }
    return py::none();
}

// Per held type: the value to Python, a new holder from Python, a view of its memory.
struct Conversion {
    py::object (*toPython)(const Variant&);
    std::shared_ptr<Variant> (*fromPython)(py::handle);
    py::object (*view)(const std::shared_ptr<Variant>&);
};

template <class... T>
std::unordered_map<std::type_index, Conversion> conversionsOf() {
    return {{typeid(T),
             Conversion{[](const Variant& value) {
                            return Convert<T>::toPython(*static_cast<const T*>(value.constAddress_imp()));
                        },
                        [](py::handle object) -> std::shared_ptr<Variant> {
                            return std::make_shared<Variant_<T>>(Convert<T>::fromPython(object));
                        },
                        &viewOf<T>}}...};
}

template <class... E>
std::unordered_map<std::type_index, Conversion> sequencesOf() {
    auto table = conversionsOf<E..., std::vector<E>..., std::list<E>...>();
    table.merge(conversionsOf<cv::Size_<int>, cv::Point_<int>, cv::Rect_<int>, Storage>());
    return table;
}

const Conversion& conversionOf(const std::type_info& type) {
    static const auto table = sequencesOf<bool, char, signed char, unsigned char, short, unsigned short, int,
                                          unsigned int, std::int64_t, std::uint64_t, float, double, std::string,
                                          cv::Mat>();
    const auto found = table.find(type);
    if (found == table.end())
        raise(PyExc_TypeError, std::string("no Python form for the type '") + exp::getStringFromType(type) +
                                   "': use its text form (from_string, to_string)");
    return found->second;
}

// The registered name a Python object is given by DataStorage.from_dict.
std::string guessedName(py::handle object) {
    if (PyBool_Check(object.ptr())) return "bool";
    if (PyLong_Check(object.ptr()))
        return object.cast<py::int_>() > py::int_(std::numeric_limits<std::int64_t>::max()) ? "uint64" : "int64";
    if (PyFloat_Check(object.ptr())) return "double";
    if (PyUnicode_Check(object.ptr())) return "string";
    if (py::isinstance<Storage>(object) || py::isinstance<py::dict>(object)) return exp::getStringFromType(typeid(Storage));
    if (py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object)) {
        bool texts = py::len(object) > 0;
        for (py::handle item : object) texts = texts && PyUnicode_Check(item.ptr());
        if (texts) return "vecstring";
    }
    const py::module_ numpy = py::module_::import("numpy");
    if (py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object) || py::isinstance<py::array>(object) ||
        py::isinstance(object, numpy.attr("generic"))) {
        const py::array array = numpy.attr("asarray")(object);
        if (array.ndim() >= 2) return "cvmat";
        static const std::unordered_map<std::string, std::string> names{
            {"?", "bool"},   {"i1", "int8"},   {"u1", "uint8"},  {"i2", "int16"}, {"u2", "uint16"}, {"i4", "int32"},
            {"u4", "uint32"}, {"i8", "int64"}, {"u8", "uint64"}, {"f4", "float"}, {"f8", "double"}};
        const py::dtype dtype = array.dtype();
        const std::string code = dtype.kind() == 'b' ? "?" : std::string(1, dtype.kind()) + std::to_string(dtype.itemsize());
        const auto name = names.find(code);
        if (name != names.end()) return (array.ndim() == 1 ? "vec" : "") + name->second;
    }
    raise(PyExc_TypeError, "no registered type is guessed for a " + typeName(object) +
                               ": give a Variant(value, name) instead");
}

py::str reprOf(const Variant& value) {
    try {
        return shownText("<Variant " + value.getTypeString() + ": " + value.toString() + ">");
    } catch (const Exception&) {
        return shownText("<Variant " + value.getTypeString() + " (no text form)>");
    }
}

// The value as something len, iteration and [] work on: the numbers of a vector
// without a copy, the items of a list or of a vector of other things as a list.
py::object sequenceOf(const std::shared_ptr<Variant>& value) {
    if (value->isContainer()) {
        py::object view = conversionOf(value->getTypeInfo()).view(value);
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
    py::object view = conversionOf(value->getTypeInfo()).view(value);
    const Endian endian = value->isSwappable() ? exp::little_endian : exp::no_swap;
    if (!view.is_none()) return py::make_tuple(name, endian, view);
    return py::make_tuple(name, endian, writtenBytes(value->sizeofT_imp(), [&](char* data) {
                                            value->serialize_imp(endian, data);
                                        }));
}

std::shared_ptr<Variant> fromState(const py::tuple& state) {
    const auto name = state[0].cast<std::string>();
    if (!PyBytes_Check(state[2].ptr())) return fromPython(state[2], name);
    const ByteInput input(state[2]);
    size_t used = 0;
    return Variant::deserialize(name, state[1].cast<Endian>(), input.data(), input.size(), used);
}

}  // namespace

template <class T>
T numberFrom(py::handle object) {
    return Convert<T>::fromPython(object);
}
template signed char numberFrom<signed char>(py::handle);
template unsigned char numberFrom<unsigned char>(py::handle);
template unsigned short numberFrom<unsigned short>(py::handle);
template unsigned int numberFrom<unsigned int>(py::handle);
template std::int64_t numberFrom<std::int64_t>(py::handle);
template std::uint64_t numberFrom<std::uint64_t>(py::handle);
template float numberFrom<float>(py::handle);

py::object toPython(const Variant& value) { return conversionOf(value.getTypeInfo()).toPython(value); }

std::shared_ptr<Variant> fromPython(py::handle object, const std::string& name) {
    return conversionOf(exp::TypeObject::find(name).getTypeInfo()).fromPython(object);
}

std::shared_ptr<Variant> guessedFromPython(py::handle object) {
    // The common scalars straight to their holders, with no name to look up.
    PyObject* item = object.ptr();
    if (PyFloat_CheckExact(item)) return std::make_shared<Variant_<double>>(PyFloat_AS_DOUBLE(item));
    if (PyUnicode_CheckExact(item)) return std::make_shared<Variant_<std::string>>(textFrom(object));
    if (PyLong_CheckExact(item)) {
        int overflow = 0;
        const long long number = PyLong_AsLongLongAndOverflow(item, &overflow);
        if (overflow == 0) return std::make_shared<Variant_<std::int64_t>>(number);
    }
    if (py::isinstance<Variant>(object)) return object.cast<std::shared_ptr<Variant>>();
    return fromPython(object, guessedName(object));
}

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
        .def_static("from_string", [](const Text& name, const Text& text) {
                        return Variant::fromString(name.bytes, text.bytes);
                    }, "name"_a, "text"_a,
                    "Parses the text form of the registered type name leniently, as a stream reads it; None for "
                    "'void'.")
        .def_static(
            "parse",
            [](const Text& name, const Text& text) {
                try {
                    return Variant::parse(name.bytes, text.bytes);
                } catch (const Exception& error) {
                    raiseError(parseErrorType(), error);
                }
            },
            "name"_a, "text"_a,
            "Reads text that holds exactly one value of the registered type name, as to_string writes it. "
            "Anything else (no number, trailing characters, a value out of range) raises ParseError, a "
            "ValueError, whose message names the type and the text.")
        .def("to_string", [](const Variant& value) { return Text{value.toString()}; },
             "The text form; Error for a type without one (cvmat, cvsize, cvrect). Bytes that are no UTF-8 "
             "come as surrogate escapes, which from_string and parse take back.")
        .def_property_readonly("type_name", [](const Variant& value) { return Text{value.getTypeString()}; },
                               "The registered name of the held type.")
        .def_property_readonly("value", &toPython,
                               "The value as a Python object: bool, int, float, str; a numpy array (a copy) for "
                               "a vector of numbers, a list for a list and for vectors of str or cvmat, a tuple "
                               "for cvsize, cvpoint and cvrect. A cvmat gives a numpy array over its pixels, no "
                               "copy: the array keeps them alive, also when the Variant is gone.")
        .def("serialize",
             [](const Variant& value, Endian endian) {
                 return writtenBytes(value.sizeofT_imp(), [&](char* data) { value.serialize_imp(endian, data); });
             },
             "endian"_a, "The byte form in the given byte order, as bytes.")
        .def_static("deserialize",
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
        .def("__eq__",
             [](const std::shared_ptr<Variant>& self, const std::shared_ptr<Variant>& other) {
                 return self->equal_imp(other);
             },
             py::is_operator(),
             "The library's equality: integers by value across their types, everything else within one type; "
             "Error for cvmat, which has none.")
        .def("__repr__", &reprOf)
        .def("__bool__",
             [](const std::shared_ptr<Variant>& self) {
                 if (self->isArithmetic()) return self->toBool();
                 if (self->isContainer()) return py::len(sequenceOf(self)) > 0;
                 if (self->getTypeInfo() == typeid(std::string))
                     return !static_cast<const std::string*>(self->constAddress_imp())->empty();
                 return true;
             },
             "A number's truth; whether a vector, list or string has anything; True for the rest.")
        .def("__int__", [](const Variant& self) { return py::int_(numberOf(self, false, "int()")); },
             "A number value as an int (a float truncated).")
        .def("__index__", [](const Variant& self) { return py::int_(numberOf(self, true, "index()")); },
             "A bool, char or integer value as an int.")
        .def("__float__", [](const Variant& self) { return py::float_(numberOf(self, false, "float()")); },
             "A number value as a float.")
        .def("__len__", [](const std::shared_ptr<Variant>& self) { return py::len(sequenceOf(self)); },
             "The number of items of a vector or list value.")
        .def("__iter__", [](const std::shared_ptr<Variant>& self) { return py::iter(sequenceOf(self)); },
             "Iterates over the items of a vector or list value.")
        .def("__getitem__",
             [](const std::shared_ptr<Variant>& self, py::handle index) -> py::object { return sequenceOf(self)[index]; },
             "index"_a, "An item (or a slice) of a vector or list value, as numpy or a list gives it.")
        .def(
            "__array__",
            [](const std::shared_ptr<Variant>& self, py::object dtype, py::object copy) {
                py::object view = conversionOf(self->getTypeInfo()).view(self);
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
