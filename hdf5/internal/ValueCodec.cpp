#include "hdf5/internal/ValueCodec.h"

#include <cstring>
#include <vector>

#include "core/datatypes/TypeObject.h"
#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/NativeTypes.h"
#include "hdf5/internal/Shared.h"
#include "hdf5/internal/Texts.h"

namespace zarvo::hdf5::internal {

using exp::TypeObject;
using exp::Variant;

namespace {

// The byte order of byte forms in a file: little-endian on every host.
exp::Endian fileEndian() {
    const std::uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? exp::no_swap : exp::swap;
}

// The value's byte form, written straight into the buffer HDF5 then reads it from.
std::vector<char> byteFormOf(const Variant& value) {
    std::vector<char> bytes(value.sizeofT_imp());
    bytes.resize(value.serialize_imp(fileEndian(), bytes.data()));
    return bytes;
}

std::shared_ptr<Variant> fromBytes(hid_t dataset, const std::vector<char>& bytes, const std::string& typeName) {
    size_t used = 0;
    std::shared_ptr<Variant> value;
    try {
        value = Variant::deserialize(typeName, fileEndian(), bytes.data(), bytes.size(), used);
    } catch (const Exception& error) {
        failAt(dataset, "its bytes do not read as '" + typeName + "': " + error.message());
    }
    if (used != bytes.size())
        failAt(dataset, "'" + typeName + "' uses " + std::to_string(used) + " of its " + std::to_string(bytes.size()) +
                            " bytes");
    return value;
}

// The registered name a dataset gives, checked against the registry.
std::string typeNameOf(hid_t dataset) {
    if (!hasAttribute(dataset, kTypeAttribute))
        failAt(dataset, std::string("has no attribute '") + kTypeAttribute + "' naming its type");
    const std::string typeName = readTextAttribute(dataset, kTypeAttribute);
    if (TypeObject::findP(typeName) == nullptr || typeName == "void")
        failAt(dataset, "type '" + typeName + "' is not registered");
    return typeName;
}

}  // namespace

bool isByteForm(hid_t dataset) {
    if (!hasAttribute(dataset, kFormAttribute)) return false;
    const std::string form = readTextAttribute(dataset, kFormAttribute);
    if (form != kByteForm) failAt(dataset, "unknown form '" + form + "'");
    return true;
}

void writeValue(hid_t parent, const std::string& path, const Variant& value) {
    if (!writeNative(parent, path, value)) {
        const std::vector<char> bytes = byteFormOf(value);
        Handle dataset = createDataset(parent, path, H5T_NATIVE_UINT8, {bytes.size()});
        if (!bytes.empty()) h5::dwrite(dataset.get(), H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data());
        writeTextAttribute(dataset.get(), kFormAttribute, kByteForm);
    }
    Handle dataset = h5::dopen(parent, path, H5P_DEFAULT);
    writeTextAttribute(dataset.get(), kTypeAttribute, value.getTypeString());
}

std::shared_ptr<Variant> readValue(hid_t dataset) {
    const std::string typeName = typeNameOf(dataset);
    if (!isByteForm(dataset)) return readNative(dataset, typeName);
    const std::vector<hsize_t> dims = shapeOf(dataset);
    if (dims.size() != 1)
        failAt(dataset, "byte form of shape " + shapeText(dims) + " does not fit type '" + typeName + "'");
    std::vector<char> bytes(dims[0]);
    if (!bytes.empty()) h5::dread(dataset, H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, smallTransfer(), bytes.data());
    return fromBytes(dataset, bytes, typeName);
}

Handle columnElementType(const std::string& typeName, bool& byteForm) {
    Handle type = nativeColumnType(typeName);
    byteForm = !type.valid();
    return byteForm ? h5::tcopy(byteFormType()) : std::move(type);
}

void writeColumnElement(hid_t column, hsize_t index, const Variant& value, bool byteForm) {
    if (!byteForm) {
        if (!writeNativeElement(column, index, value))
            failAt(column, "a value of type '" + value.getTypeString() + "' does not fit this column");
        return;
    }
    std::vector<char> bytes = byteFormOf(value);
    hvl_t element{bytes.size(), bytes.data()};
    const Selection slot = elementOf(column, index);
    h5::dwrite(column, byteFormType(), slot.memory.get(), slot.file.get(), smallTransfer(), &element);
}

std::shared_ptr<Variant> readColumnElement(hid_t column, hsize_t index) {
    const std::string typeName = typeNameOf(column);
    if (!isByteForm(column)) return readNativeElement(column, index, typeName);
    const Selection slot = elementOf(column, index);
    hvl_t element{0, nullptr};
    h5::dread(column, byteFormType(), slot.memory.get(), slot.file.get(), smallTransfer(), &element);
    const char* data = static_cast<const char*>(element.p);
    const std::vector<char> bytes(data, data + element.len);
    h5::freeMemory(element.p);
    return fromBytes(column, bytes, typeName);
}

}  // namespace zarvo::hdf5::internal
