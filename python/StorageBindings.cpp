#include <string>

#include "core/datatypes/DataStorage.h"
#include "python/Bindings.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Endian;
using exp::Variant;
using Storage = exp::DataStorage<std::string>;

namespace {

py::dict dictOf(const Storage& storage, bool variants) {
    py::dict entries;
    for (const auto& [key, value] : storage) {
        const py::str name = textOf(key);
        if (const Storage* group = Storage::groupOf(*value)) entries[name] = dictOf(*group, variants);
        else if (variants) entries[name] = py::cast(value);
        else entries[name] = toPython(*value);
    }
    return entries;
}

// What an entry holds for a Python object: a Variant as given, a dict as a new group,
// anything else as the type from_dict guesses.
std::shared_ptr<Variant> entryOf(py::handle value);

Storage storageOf(const py::dict& entries) {
    Storage storage;
    for (const auto& [key, value] : entries) {
        if (!PyUnicode_Check(key.ptr())) raise(PyExc_TypeError, "a storage key is a str");
        storage.insert(textFrom(key), entryOf(value));
    }
    return storage;
}

std::shared_ptr<Variant> entryOf(py::handle value) {
    if (py::isinstance<py::dict>(value))
        return std::make_shared<exp::Variant_<Storage>>(storageOf(py::reinterpret_borrow<py::dict>(value)));
    return guessedFromPython(value);
}

[[noreturn]] void missing(const Text& key) { throw py::key_error(textOf(key.bytes, "backslashreplace")); }

std::shared_ptr<Variant> entryAt(const Storage& storage, const Text& key) {
    auto value = storage.get(key.bytes);
    if (!value) missing(key);
    return value;
}

}  // namespace

void bindStorage(py::module_& module) {
    py::class_<Storage> storage(
        module, "DataStorage",
        "Values under text keys, in key order: a MutableMapping of keys to Variants. A dotted key "
        "'a.b.c' reaches into groups (entries holding a DataStorage). Values are shared with "
        "whoever else holds them. Keys that are no UTF-8 come as surrogate escapes and are taken "
        "back as such.");
    storage.def(py::init<>(), "An empty storage.")
        .def(
            "insert",
            [](Storage& storage, const Text& key, py::handle value, py::object name) {
                auto held = name.is_none() ? guessedFromPython(value) : fromPython(value, name.cast<std::string>());
                return storage.insert(key.bytes, std::move(held)).second;
            },
            "key"_a, "value"_a, "name"_a = py::none(),
            "Adds value at key, making the missing groups of a dotted key; never replaces an entry. value is a "
            "Variant, or a Python object made into the registered type name (guessed as in from_dict when "
            "name is None). True if added.")
        .def(
            "get",
            [](const Storage& storage, const Text& key, py::object otherwise) -> py::object {
                auto value = storage.get(key.bytes);
                return value ? py::cast(std::move(value)) : otherwise;
            },
            "key"_a, "default"_a = py::none(),
            "The Variant at key, or default (None); a group comes as a 'storage' Variant.")
        .def("__getitem__", &entryAt, "key"_a, "The Variant at key; KeyError if there is none.")
        .def(
            "__setitem__",
            [](Storage& storage, const Text& key, py::handle value) {
                auto held = entryOf(value);
                auto [at, added] = storage.insert(key.bytes, held);
                if (!added) at->second = std::move(held);
            },
            "key"_a, "value"_a,
            "Puts value at key, replacing what is there, making the missing groups of a dotted key: a Variant as "
            "given, a dict as a group, anything else as the type from_dict gives it.")
        .def(
            "__contains__",
            [](const Storage& storage, const Text& key) {
                try {
                    return storage.get(key.bytes) != nullptr;
                } catch (const Exception&) {  // the path runs on behind a value: no such entry
                    return false;
                }
            },
            "key"_a, "Whether key, dotted or not, holds an entry.")
        .def(
            "erase", [](Storage& storage, const Text& key) { return storage.erase(key.bytes); }, "key"_a,
            "Removes the entry or group at key, if any.")
        .def(
            "__delitem__",
            [](Storage& storage, const Text& key) {
                entryAt(storage, key);
                storage.erase(key.bytes);
            },
            "key"_a, "Removes the entry or group at key; KeyError if there is none.")
        .def(
            "pop",
            [](Storage& storage, const Text& key, const py::args& otherwise) -> py::object {
                if (otherwise.size() > 1) raise(PyExc_TypeError, "pop takes a key and at most one default");
                auto value = storage.get(key.bytes);
                if (!value) {
                    if (otherwise.size() == 1) return otherwise[0];
                    missing(key);
                }
                storage.erase(key.bytes);
                return py::cast(std::move(value));
            },
            "key"_a,
            "Removes the entry at key and returns it; the default given after key, or KeyError, if "
            "there is none.")
        .def("clear", &Storage::clear, "Removes every entry.")
        .def("__len__", &Storage::size, "The number of entries of the top level; a group counts as one.")
        .def(
            "keys",
            [](const Storage& storage) {
                py::list keys;
                for (const auto& entry : storage) keys.append(textOf(entry.first));
                return keys;
            },
            "The keys of the top level, in key order.")
        .def(
            "__iter__", [](const Storage& storage) { return py::iter(py::cast(storage).attr("keys")()); },
            "Iterates over the keys of the top level.")
        .def("to_dict", &dictOf, "variants"_a = false,
             "A dict of the entries, groups as nested dicts; the values as Python objects (see Variant.value), "
             "or as the Variants themselves when variants is True, which keeps their types exactly.")
        .def_static("from_dict", &storageOf, "entries"_a,
                    "A storage of a dict: nested dicts become groups, Variants are held as they are, other "
                    "objects get a type by their Python type: bool, int as int64 (uint64 above its range), float "
                    "as double, str as string, a list of str as vecstring, a 1-axis array or list of numbers as "
                    "the vector of its dtype, a numpy scalar as its type, a 2- or 3-axis array as cvmat.")
        .def(
            "serialize",
            [](const Storage& storage, Endian endian) {
                return writtenBytes(storage.sizeofType(), [&](char* data) { storage.serialize(endian, data); });
            },
            "endian"_a, "The byte form, as bytes: the entry count, then each key, type name and value.")
        .def_static("deserialize", &readBounded<Storage>, "data"_a, "endian"_a,
                    "Reads a storage from any bytes-like object, never past its end; returns (storage, bytes used). "
                    "Bytes that end early or count more entries than they hold raise Error.")
        .def("__eq__", &Storage::operator==, py::is_operator(),
             "The same keys with equal values at every level; Error for values without equality (cvmat).")
        .def("__repr__",
             [](const Storage& storage) {
                 return "DataStorage(" + py::repr(dictOf(storage, true)).cast<std::string>() + ")";
             })
        .def(py::pickle(
            [](const Storage& storage) {
                return writtenBytes(storage.sizeofType(), [&](char* data) { storage.serialize(exp::no_swap, data); });
            },
            [](const py::bytes& data) {
                const ByteInput input(data);
                size_t used = 0;
                const ReleasedFor released(input.size());
                return Storage::deserialize(exp::no_swap, input.data(), input.size(), used);
            }))
        .attr("__hash__") = py::none();

    // The rest of the mapping interface (items, values, popitem, setdefault, update)
    // is the one collections.abc builds on the operations above.
    const py::object mapping = py::module_::import("collections.abc").attr("MutableMapping");
    for (const char* name : {"items", "values", "popitem", "setdefault", "update"})
        storage.attr(name) = mapping.attr(name);
    mapping.attr("register")(storage);
}

}  // namespace zarvo::python
