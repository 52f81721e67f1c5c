#include <pybind11/stl.h>

#include <mutex>
#include <string>
#include <vector>

#include "core/datatypes/CuratorStorage.h"
#include "core/datatypes/TypeObject.h"
#include "python/Bindings.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Curator;
using exp::CuratorStorage;
using exp::Variant;

namespace {

// A CuratorStorage for Python. The GIL is held only while Python code runs: every
// operation lets it go first and then waits its turn at the storage's lock, so a
// thread inside the storage whose callback wants the GIL never waits for a thread
// that holds the GIL and wants the storage. The lock is recursive because callbacks,
// generators and validators call back into the storage on the same thread.
struct Curated {
    explicit Curated(unsigned int count) : storage(count) {}
    std::shared_ptr<std::recursive_mutex> turn = std::make_shared<std::recursive_mutex>();
    CuratorStorage storage;
};

// operation(storage) without the GIL, in turn with the other threads.
template <class Operation>
auto inTurn(const std::shared_ptr<std::recursive_mutex>& turn, Operation&& operation) {
    py::gil_scoped_release release;
    const std::lock_guard<std::recursive_mutex> guard(*turn);
    return operation();
}

// A C++ function that calls callable with its arguments under the GIL and gives back
// what convert makes of the result, also under the GIL. Copies of it may be made and
// dropped without the GIL.
template <class Convert>
auto underGil(py::function callable, Convert convert) {
    std::shared_ptr<py::object> function(new py::object(std::move(callable)), [](py::object* object) {
        py::gil_scoped_acquire gil;
        delete object;
    });
    return [function, convert](const auto&... arguments) {
        py::gil_scoped_acquire gil;
        return convert((*function)(arguments...));
    };
}

// A subscription whose end waits its turn like any other operation.
struct PySubscription {
    std::shared_ptr<std::recursive_mutex> turn;
    exp::Subscription subscription;

    PySubscription(std::shared_ptr<std::recursive_mutex> lock, exp::Subscription handle)
        : turn(std::move(lock)), subscription(std::move(handle)) {}
    PySubscription(PySubscription&&) = default;
    void close() {
        if (subscription) inTurn(turn, [this] { subscription.reset(); });
    }
    ~PySubscription() { close(); }
};

// Fills slot id with a curator of type T.
template <class T>
void addAs(CuratorStorage& storage, unsigned int id, std::vector<unsigned int> depends) {
    storage.addCurator<T>(id, std::move(depends));
}
using Adder = void (*)(CuratorStorage&, unsigned int, std::vector<unsigned int>);

// The adder for the registered type name, among the types T.
template <class... T>
Adder adderFor(const std::string& name) {
    const std::type_info& type = exp::TypeObject::find(name).getTypeInfo();
    Adder adder = nullptr;
    ((type == typeid(T) ? void(adder = &addAs<T>) : void()), ...);
    if (adder == nullptr)
        raise(PyExc_TypeError,
              "no curator for type " + name + "; one of bool, int32, int64, float, double, string, cvmat, vecdouble");
    return adder;
}

// The registered name of the type of curator id.
std::string typeNameOf(Curated& curated, unsigned int id) {
    return inTurn(curated.turn, [&] { return exp::getStringFromType(curated.storage.find(id)->getTypeInfo()); });
}

// value as a Variant for curator id: a Variant as it is, anything else made into the curator's type.
std::shared_ptr<Variant> valueFor(Curated& curated, unsigned int id, py::handle value) {
    if (py::isinstance<Variant>(value)) return value.cast<std::shared_ptr<Variant>>();
    return fromPython(value, typeNameOf(curated, id));
}

// A handle of subscribe(callback), with callback calling the Python callable.
template <class Subscribe>
PySubscription subscription(Curated& curated, py::function callback, Subscribe subscribe) {
    Curator::Callback call = underGil(std::move(callback), [](const py::object&) {});
    return PySubscription{curated.turn, inTurn(curated.turn, [&] { return subscribe(std::move(call)); })};
}

}  // namespace

void bindCurators(py::module_& module) {
    py::enum_<Curator::Change>(module, "Change", "What happened to a curated value.")
        .value("Set", Curator::Change::Set, "set() admitted a value.")
        .value("Invalidated", Curator::Change::Invalidated, "The cached value was dropped.")
        .value("Refused", Curator::Change::Refused, "set() was refused by the validator; the curator is empty.");

    py::class_<PySubscription>(module, "Subscription",
                               "A callback subscribed to a CuratorStorage. close() (or leaving a with block, or "
                               "dropping the handle) unsubscribes; after the storage is gone it does nothing.")
        .def("close", &PySubscription::close, "Unsubscribes; the callback is not called again.")
        .def_property_readonly(
            "active", [](const PySubscription& handle) { return static_cast<bool>(handle.subscription); },
            "True until closed or until the storage is gone.")
        .def("__enter__", [](PySubscription& handle) -> PySubscription& { return handle; })
        .def(
            "__exit__", [](PySubscription& handle, py::args) { handle.close(); },
            "Unsubscribes at the end of the with block.");

    py::class_<Curated>(module, "CuratorStorage",
                        "Numbered slots of curated values: made on demand by a generator, cached, checked by a "
                        "validator when set, and invalidated along each curator's list of dependents. Callbacks "
                        "subscribed to an id hear (id, Change) after each operation that changed it.")
        .def(py::init<unsigned int>(), "count"_a, "count empty slots, ids 0 to count - 1.")
        .def(
            "add_curator",
            [](Curated& curated, unsigned int id, const std::string& name, std::vector<unsigned int> depends) {
                const Adder add =
                    adderFor<bool, int, std::int64_t, float, double, std::string, cv::Mat, std::vector<double>>(name);
                inTurn(curated.turn, [&] { add(curated.storage, id, std::move(depends)); });
            },
            "id"_a, "type_name"_a, "depends"_a = std::vector<unsigned int>(),
            "Fills the empty slot id with a curator of the registered type type_name (bool, int32, int64, float, "
            "double, string, cvmat or vecdouble) whose dependents are the ids in depends.")
        .def(
            "set_generator",
            [](Curated& curated, unsigned int id, py::function generator) {
                const std::string name = typeNameOf(curated, id);
                Curator::Generator generate = underGil(std::move(generator), [name](const py::object& made) {
                    return py::isinstance<Variant>(made) ? made.cast<std::shared_ptr<Variant>>()
                                                         : fromPython(made, name);
                });
                inTurn(curated.turn, [&] { curated.storage.setGenerator(id, std::move(generate)); });
            },
            "id"_a, "generator"_a,
            "generator() makes the value when get finds none cached: a Variant, or an object made into the "
            "curator's type.")
        .def(
            "set_validator",
            [](Curated& curated, unsigned int id, py::function validator) {
                Curator::Validator admits =
                    underGil(std::move(validator), [](const py::object& admitted) { return admitted.cast<bool>(); });
                inTurn(curated.turn, [&] { curated.storage.find(id)->setValidator(admits); });
            },
            "id"_a, "validator"_a,
            "validator(value) admits (True) or refuses a Variant given to set; a refusal empties the curator.")
        .def(
            "set",
            [](Curated& curated, unsigned int id, const py::object& value) {
                const std::shared_ptr<Variant> held = valueFor(curated, id, value);
                inTurn(curated.turn, [&] { curated.storage.set(id, held); });
            },
            "id"_a, "value"_a,
            "Sets the value (a Variant, or an object made into the curator's type) and invalidates the "
            "dependents; Error 'New value is not valid!' if the validator refuses it. A callback's exception is "
            "raised here once every callback has run.")
        .def(
            "get",
            [](Curated& curated, unsigned int id) {
                return inTurn(curated.turn, [&] { return std::shared_ptr<Variant>(curated.storage.get(id)); });
            },
            "id"_a, "The cached Variant, made by the generator first if there is none.")
        .def(
            "invalidate",
            [](Curated& curated, unsigned int id) {
                inTurn(curated.turn, [&] { curated.storage.find(id)->invalidate(); });
            },
            "id"_a, "Drops the value of id and of every curator depending on it.")
        .def(
            "subscribe",
            [](Curated& curated, unsigned int id, py::function callback) {
                return subscription(curated, std::move(callback), [&](Curator::Callback call) {
                    return curated.storage.subscribe(id, std::move(call));
                });
            },
            "id"_a, "callback"_a,
            "callback(id, change) after each operation that changed curator id; returns the Subscription.")
        .def(
            "subscribe_all",
            [](Curated& curated, py::function callback) {
                return subscription(curated, std::move(callback), [&](Curator::Callback call) {
                    return curated.storage.subscribeAll(std::move(call));
                });
            },
            "callback"_a, "callback(id, change) after each operation, for every curator it changed.");
}

}  // namespace zarvo::python
