#pragma once

// Internal to zarvo_hdf5: the built-in types HDF5 holds natively (numbers, bool,
// strings, their sequences, matrices and the OpenCV geometry types), each as the HDF5
// type h5py and numpy use for it, written and read through one visitor over the core's
// list of built-in types.

#include <hdf5.h>

#include <cstdint>
#include <memory>
#include <string>

#include "core/datatypes/Variant.h"
#include "hdf5/internal/Handle.h"

namespace zarvo::hdf5::internal {

/// Creates the dataset at path below parent holding value natively; false (nothing
/// made) when HDF5 holds no native form of it (a type of the caller's, a string with a
/// NUL byte, a matrix of more dimensions).
bool writeNative(hid_t parent, const std::string& path, const exp::Variant& value);
/// Reads a native dataset as the built-in type registered as typeName; throws when its
/// shape or element type does not fit that type, or the type has no native form.
std::shared_ptr<exp::Variant> readNative(hid_t dataset, const std::string& typeName);

/// The file type of one element of a column of values of typeName (numbers, bool and
/// strings), or an invalid Handle when a column holds them as byte forms.
Handle nativeColumnType(const std::string& typeName);
/// Writes value as element index of a native column; false when the value has no
/// native form there (a string with a NUL byte, a type the column does not hold).
bool writeNativeElement(hid_t column, hsize_t index, const exp::Variant& value);
/// Reads element index of a native column as the type registered as typeName.
std::shared_ptr<exp::Variant> readNativeElement(hid_t column, hsize_t index, const std::string& typeName);

/// Reads element index of a 1-D integer column as an int64, its name attribute unread (timestamps).
std::int64_t readInt64Element(hid_t column, hsize_t index);

}  // namespace zarvo::hdf5::internal
