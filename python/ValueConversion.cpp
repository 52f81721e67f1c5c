#include "python/ValueConversion.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "core/datatypes/BuiltinTypes.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"
#include "python/NumpyMatrix.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Variant;
using exp::Variant_;
using Storage = exp::DataStorage<std::string>;

namespace {

// A vector's element type, or T itself for anything else.
template <class T>
struct Elements {
    using type = T;
    static constexpr bool vector = false;
};
template <class E>
struct Elements<std::vector<E>> {
    using type = E;
    static constexpr bool vector = true;
};

std::string typeName(py::handle object) { return py::str(py::type::handle_of(object).attr("__name__")); }

// The numpy dtype kind of a number type: bool, float, signed or unsigned integer.
template <class E>
constexpr char dtypeKind() {
    if constexpr (std::is_same_v<E, bool>) return 'b';
    else return std::is_floating_point_v<E> ? 'f' : std::is_signed_v<E> ? 'i' : 'u';
}

// The numpy dtype code of a number type: "?" for bool, else kind and width.
template <class E>
std::string dtypeCode() {
    if constexpr (std::is_same_v<E, bool>) return "?";
    else return dtypeKind<E>() + std::to_string(sizeof(E));
}

[[noreturn]] void noPythonForm(const std::type_info& type) {
    raise(PyExc_TypeError, std::string("no Python form for the type '") + exp::getStringFromType(type) +
                               "': use its text form (from_string, to_string)");
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
        raise(PyExc_OverflowError,
              py::repr(object).cast<std::string>() + " is out of the range of " + exp::getStringFromType(typeid(T)));
    }
};

// Text as UTF-8; bytes that are no UTF-8 survive the round trip as surrogate escapes.
template <>
struct Convert<std::string> {
    static py::object toPython(const std::string& value) { return textOf(value); }
    static std::string fromPython(py::handle object) {
        if (!PyUnicode_Check(object.ptr()))
            raise(PyExc_TypeError, "a string value needs a str, not " + typeName(object));
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
    if (array.ndim() != 1) raise(PyExc_ValueError, "a vector needs 1 axis, not " + std::to_string(array.ndim()));
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

// A vector of numbers as a numpy array of their dtype, both ways.
template <class E>
struct Convert<std::vector<E>, std::enable_if_t<std::is_arithmetic_v<E>>> {
    static py::object toPython(const std::vector<E>& value) {
        py::array array(py::dtype(dtypeCode<E>()), std::vector<py::ssize_t>{static_cast<py::ssize_t>(value.size())});
        if constexpr (std::is_same_v<E, bool>)  // std::vector<bool> keeps bits
            std::copy(value.begin(), value.end(), static_cast<bool*>(array.mutable_data()));
        else if (!value.empty()) std::memcpy(array.mutable_data(), value.data(), value.size() * sizeof(E));
        return std::move(array);
    }
    static std::vector<E> fromPython(py::handle object) {
        const py::array array = elementsOf<E>(object);
        const auto* first = static_cast<const E*>(array.data());  // elementsOf made the dtype E's
        const ReleasedFor released(static_cast<size_t>(array.nbytes()));
        return std::vector<E>(first, first + array.size());
    }
};

// Any other sequence as a list, item by item; read from any iterable but a str.
template <class Sequence>
struct ConvertItems {
    using E = typename Sequence::value_type;
    static py::object toPython(const Sequence& value) {
        py::list items;
        for (const E& element : value) items.append(Convert<E>::toPython(element));
        return std::move(items);
    }
    static Sequence fromPython(py::handle object) {
        if (py::isinstance<py::str>(object) || !py::isinstance<py::iterable>(object))
            raise(PyExc_TypeError, "a sequence value needs an iterable, not " + typeName(object));
        Sequence items;
        for (py::handle item : object) items.push_back(Convert<E>::fromPython(item));
        return items;
    }
};

template <class E>
struct Convert<std::vector<E>, std::enable_if_t<!std::is_arithmetic_v<E>>> : ConvertItems<std::vector<E>> {};
template <class E>
struct Convert<std::list<E>> : ConvertItems<std::list<E>> {};

// A read-only numpy array over a vector's numbers that keeps owner, the value holding them, alive.
template <class E>
py::array numbersOver(const std::vector<E>& numbers, const std::shared_ptr<Variant>& owner) {
    auto* held = new std::shared_ptr<Variant>(owner);
    const py::capsule base(held, [](void* kept) { delete static_cast<std::shared_ptr<Variant>*>(kept); });
    py::array array(py::dtype(dtypeCode<E>()), {static_cast<py::ssize_t>(numbers.size())},
                    {static_cast<py::ssize_t>(sizeof(E))}, numbers.data(), base);
    array.attr("setflags")("write"_a = false);
    return array;
}

// The type a built-in entry stands for, handed to the visitors of anyBuiltin.
template <class T>
struct TypeTag {
    using type = T;
};

// Calls visit(TypeTag<T>(), "name") for the built-in value types in registration order
// until one returns true; whether one did.
template <class F>
bool anyBuiltin(F&& visit) {
#define ZARVO_PYTHON_VISIT(T, name) visit(TypeTag<T>(), name) ||
    return ZARVO_BUILTIN_TYPES(ZARVO_PYTHON_VISIT, ZARVO_BUILTIN_SKIP) false;
#undef ZARVO_PYTHON_VISIT
}

// A new holder of T made from a Python object.
template <class T>
std::shared_ptr<Variant> holderFrom(py::handle object) {
    return std::make_shared<Variant_<T>>(Convert<T>::fromPython(object));
}

using Maker = std::shared_ptr<Variant> (*)(py::handle);

// The holder makers of the built-in value types by registered name: one look-up for
// the common case, the registry asked only about the other names.
const std::unordered_map<std::string_view, Maker>& makers() {
    static const auto byName = [] {
        std::unordered_map<std::string_view, Maker> made;
        anyBuiltin([&made](auto tag, const char* name) {
            made.emplace(name, &holderFrom<typename decltype(tag)::type>);
            return false;
        });
        return made;
    }();
    return byName;
}

// The registered name of the built-in number type of dtype, or of the vector of such
// numbers (vector); empty for none. char is left out: the registry reads it as text,
// and an i1 array holds int8 numbers.
std::string nameOfDtype(const py::dtype& dtype, bool vector) {
    const char kind = dtype.kind();
    const auto size = static_cast<size_t>(dtype.itemsize());
    std::string found;
    anyBuiltin([&](auto tag, const char* name) {
        using T = typename decltype(tag)::type;
        using E = typename Elements<T>::type;
        if constexpr (std::is_arithmetic_v<E> && !std::is_same_v<E, char>) {
            if (Elements<T>::vector == vector && dtypeKind<E>() == kind && sizeof(E) == size) found = name;
        }
        return !found.empty();
    });
    return found;
}

// The registered name a Python object is given by DataStorage.from_dict.
std::string guessedName(py::handle object) {
    if (PyBool_Check(object.ptr())) return "bool";
    if (PyLong_Check(object.ptr()))
        return object.cast<py::int_>() > py::int_(std::numeric_limits<std::int64_t>::max()) ? "uint64" : "int64";
    if (PyFloat_Check(object.ptr())) return "double";
    if (PyUnicode_Check(object.ptr())) return "string";
    if (py::isinstance<Storage>(object) || py::isinstance<py::dict>(object))
        return exp::getStringFromType(typeid(Storage));
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
        std::string name = nameOfDtype(array.dtype(), array.ndim() == 1);
        if (!name.empty()) return name;
    }
    raise(PyExc_TypeError,
          "no registered type is guessed for a " + typeName(object) + ": give a Variant(value, name) instead");
}

}  // namespace

template <class T>
T valueFrom(py::handle object) {
    return Convert<T>::fromPython(object);
}
#define ZARVO_PYTHON_VALUE_FROM(T, name) template T valueFrom<T>(py::handle);
ZARVO_BUILTIN_TYPES(ZARVO_PYTHON_VALUE_FROM, ZARVO_BUILTIN_SKIP)
#undef ZARVO_PYTHON_VALUE_FROM

py::object toPython(const Variant& value) {
    return exp::visitValue(value, [](const auto& held) -> py::object {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, Variant>) {
            if (const Storage* group = Storage::groupOf(held)) return Convert<Storage>::toPython(*group);
            noPythonForm(held.getTypeInfo());
        } else {
            return Convert<T>::toPython(held);
        }
    });
}

py::object viewOf(const std::shared_ptr<Variant>& value) {
    return exp::visitValue(*value, [&value](const auto& held) -> py::object {
        using T = std::decay_t<decltype(held)>;
        using E = typename Elements<T>::type;
        if constexpr (std::is_same_v<T, cv::Mat>) return arrayOf(held);
        else if constexpr (Elements<T>::vector && std::is_arithmetic_v<E> && !std::is_same_v<E, bool>)
            return numbersOver(held, value);  // std::vector<bool> keeps bits, no numbers to view
        else return py::none();
    });
}

std::shared_ptr<Variant> fromPython(py::handle object, const std::string& name) {
    const auto maker = makers().find(name);
    if (maker != makers().end()) return maker->second(object);
    const std::type_info& type = exp::TypeObject::find(name).getTypeInfo();  // Error for an unknown name
    if (type == typeid(Storage)) return holderFrom<Storage>(object);
    noPythonForm(type);
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

}  // namespace zarvo::python
