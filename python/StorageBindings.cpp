#include <string>

#include "core/datatypes/DataStorage.h"
#include "python/Bindings.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Endian;
using exp::Variant;
using Storage = exp::DataStorage<std::string>;

namespace {

// The storage held by a group entry, or nullptr.
const Storage* groupOf(const Variant& value) {
    if (value.getTypeInfo() != typeid(Storage)) return nullptr;
    return static_cast<const Storage*>(value.constAddress_imp());
}

py::dict dictOf(const Storage& storage, bool variants) {
    py::dict entries;
    for (const auto& [key, value] : storage) {
        const py::str name(key);
        if (const Storage* group = groupOf(*value)) entries[name] = dictOf(*group, variants);
        else if (variants) entries[name] = py::cast(value);
        else entries[name] = toPython(*value);
    }
    return entries;
}

Storage storageOf(const py::dict& entries) {
    Storage storage;
    for (const auto& [key, value] : entries) {
        if (!py::isinstance<py::str>(key)) raise(PyExc_TypeError, "a storage key is a str");
        std::shared_ptr<Variant> held = py::isinstance<py::dict>(value)
                                            ? std::make_shared<exp::Variant_<Storage>>(storageOf(value.cast<py::dict>()))
                                            : guessedFromPython(value);
        storage.insert(key.cast<std::string>(), std::move(held));
    }
    return storage;
}

std::shared_ptr<Variant> entryAt(const Storage& storage, const std::string& key) {
    auto value = storage.get(key);
    if (!value) throw py::key_error(key);
    return value;
}

}  // namespace

void bindStorage(py::module_& module) {
    py::class_<Storage>(module, "DataStorage",
                        "Values under text keys, in key order. A dotted key 'a.b.c' reaches into groups (entries "
                        "holding a DataStorage). Values are shared with whoever else holds them.")
        .def(py::init<>(), "An empty storage.")
        .def(
            "insert",
            [](Storage& storage, const std::string& key, py::handle value, py::object name) {
                auto held = name.is_none() ? guessedFromPython(value) : fromPython(value, name.cast<std::string>());
                return storage.insert(key, std::move(held)).second;
            },
            "key"_a, "value"_a, "name"_a = py::none(),
            "Adds value at key, making the missing groups of a dotted key; never replaces an entry. value is a "
            "Variant, or a Python object made into the registered type name (guessed as in from_dict when "
            "name is None). True if added.")
        .def("get", &Storage::get, "key"_a, "The Variant at key, or None; a group comes as a 'storage' Variant.")
        .def("__getitem__", &entryAt, "key"_a, "The Variant at key; KeyError if there is none.")
        .def(
            "__contains__",
            [](const Storage& storage, const std::string& key) {
                try {
                    return storage.get(key) != nullptr;
                } catch (const Exception&) {  // the path runs on behind a value: no such entry
                    return false;
                }
            },
            "key"_a, "Whether key, dotted or not, holds an entry.")
        .def("erase", &Storage::erase, "key"_a, "Removes the entry or group at key, if any.")
        .def(
            "__delitem__",
            [](Storage& storage, const std::string& key) {
                entryAt(storage, key);
                storage.erase(key);
            },
            "key"_a, "Removes the entry or group at key; KeyError if there is none.")
        .def("clear", &Storage::clear, "Removes every entry.")
        .def("__len__", &Storage::size, "The number of entries of the top level; a group counts as one.")
        .def(
            "keys",
            [](const Storage& storage) {
                py::list keys;
                for (const auto& entry : storage) keys.append(entry.first);
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
        .attr("__hash__") = py::none();
}

}  // namespace zarvo::python
