#pragma once

// Internal to zarvo_hdf5: the HDF5 types and property lists every part of the library
// uses, each made once and kept for the process (HDF5 frees them at exit): making one
// costs more than the element it is made for.

#include <hdf5.h>

namespace zarvo::hdf5::internal {

/// Link creation that makes missing groups on the way to the new object.
hid_t createMissingGroups();
/// A transfer with a small conversion buffer: HDF5 clears its buffer (1 MB by default)
/// on every read or write that converts, which for one metadata string costs more than
/// the frame.
hid_t smallTransfer();
/// Variable-length UTF-8 strings, as h5py writes a str.
hid_t utf8Type();
/// h5py's and numpy's bool: an 8-bit enumeration FALSE = 0, TRUE = 1.
hid_t boolType();
/// The elements of a byte form column: variable-length sequences of uint8.
hid_t byteFormType();

}  // namespace zarvo::hdf5::internal
