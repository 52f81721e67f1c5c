#include <exception>
#include <stdexcept>
#include <string>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"
#include "python/Bindings.h"
#include "valuefault/Exception.h"
#include "zarvo/version.h"

namespace zarvo::python {

namespace {

// zarvo_datatypes.Error and ParseError, made once at import and kept for the life of the process.
PyObject* errorType = nullptr;
PyObject* parseError = nullptr;

// The library's exceptions as Python ones: zarvo::Exception as Error with its where
// text, the standard ones of MaterialNumber by kind (std::out_of_range, a number too
// large, as OverflowError rather than pybind11's IndexError), the plain text
// MarkedFloat::checkRange throws as ValueError. pybind11 maps the rest
// (invalid_argument, length_error, domain_error as ValueError, anything else as RuntimeError).
void translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const Exception& error) {
        try {
            raiseError(errorType, error);
        } catch (py::error_already_set& raised) { raised.restore(); }
    } catch (const std::out_of_range& error) {
        PyErr_SetString(PyExc_OverflowError, error.what());
    } catch (const char* text) { PyErr_SetString(PyExc_ValueError, text); }
}

}  // namespace

void raiseError(PyObject* type, const Exception& error) {
    // Names and keys read from bytes may be anything: the message must still arrive whole.
    py::object instance = py::reinterpret_borrow<py::object>(type)(textOf(error.message(), "backslashreplace"));
    instance.attr("where") = textOf(error.where(), "backslashreplace");
    PyErr_SetObject(type, instance.ptr());
    throw py::error_already_set();
}

PyObject* parseErrorType() { return parseError; }

#ifdef ZARVO_PYTHON_TRANSPORT
/// Publisher, Subscriber, Pusher, Puller, KeyPair and the wire codec (TransportBindings.cpp).
void bindTransport(py::module_& module);
#endif

}  // namespace zarvo::python

PYBIND11_MODULE(zarvo_datatypes, module) {
    namespace py = pybind11;
    using namespace zarvo::python;
    module.doc() =
        "The values, storages, frames and records of zarvo-datatypes, with the same byte and text forms as the "
        "C++ library and numpy arrays over its matrices.";
    errorType = PyErr_NewExceptionWithDoc("zarvo_datatypes.Error",
                                          "An error of the library: str() is the message, the attribute 'where' "
                                          "tells the source place that raised it.",
                                          PyExc_Exception, nullptr);
    if (errorType == nullptr) throw py::error_already_set();
    module.attr("Error") = py::reinterpret_borrow<py::object>(errorType);
    const py::tuple parseBases = py::make_tuple(py::handle(errorType), py::handle(PyExc_ValueError));
    parseError = PyErr_NewExceptionWithDoc("zarvo_datatypes.ParseError",
                                           "Text that Variant.parse refuses: an Error and a ValueError at once.",
                                           parseBases.ptr(), nullptr);
    if (parseError == nullptr) throw py::error_already_set();
    module.attr("ParseError") = py::reinterpret_borrow<py::object>(parseError);
    module.attr("__version__") = ZARVO_DATATYPES_VERSION_STRING;
    py::register_local_exception_translator(&translate);
    // Groups of a storage travel by name; a process whose C++ code registered the storage
    // holder already keeps its own name for it.
    zarvo::exp::registerStorageType();
    bindVariant(module);
    bindStorage(module);
    bindFrame(module);
    bindRecords(module);
    bindCurators(module);
#ifdef ZARVO_PYTHON_TRANSPORT
    bindTransport(module);
#endif
}
