#pragma once

// Internal to zarvo_hdf5: how one value becomes one HDF5 dataset or one element of a
// recording's column and back, natively where HDF5 holds its type, otherwise as its
// byte form; either way with its registered name.

#include <hdf5.h>

#include <memory>
#include <string>

#include "core/datatypes/Variant.h"
#include "hdf5/internal/Handle.h"

namespace zarvo::hdf5::internal {

/// Creates the dataset at path below parent holding value: natively where HDF5 can hold
/// the value's type, otherwise as its byte form. Either way with its registered name.
void writeValue(hid_t parent, const std::string& path, const exp::Variant& value);
/// Reads the dataset back as the type its name attribute gives; throws for an unknown
/// name or a shape or element type that does not fit that type.
std::shared_ptr<exp::Variant> readValue(hid_t dataset);

/// The file type of one element of a recording's column of values of typeName: the
/// native type where a column holds one, otherwise the byte form type (byteForm set).
Handle columnElementType(const std::string& typeName, bool& byteForm);
/// Writes value as element index of the 1-D column dataset, a byte form column when byteForm.
void writeColumnElement(hid_t column, hsize_t index, const exp::Variant& value, bool byteForm);
/// Reads element index of a 1-D column dataset as the type its name attribute gives.
std::shared_ptr<exp::Variant> readColumnElement(hid_t column, hsize_t index);
/// Whether a dataset holds byte forms (its zarvo_form attribute), not native values.
bool isByteForm(hid_t dataset);

}  // namespace zarvo::hdf5::internal
