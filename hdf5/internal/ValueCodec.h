#pragma once

// Internal to zarvo_hdf5: how one value becomes one HDF5 dataset and back, and the
// group helpers the storages, frames and recordings are built of.

#include <hdf5.h>

#include <memory>
#include <string>
#include <vector>

#include "core/datatypes/Variant.h"
#include "hdf5/internal/Handle.h"

namespace zarvo::hdf5::internal {

using exp::Endian;
using exp::Variant;

/// Attribute holding the registered name of what a dataset or group holds.
inline constexpr const char* kTypeAttribute = "zarvo_type";
/// Attribute marking a dataset that holds a byte form instead of a native value.
inline constexpr const char* kFormAttribute = "zarvo_form";
/// Value of kFormAttribute: the value's byte form, little-endian, as uint8 elements.
inline constexpr const char* kByteForm = "bytes-le";

/// The byte order of byte forms in a file: little-endian on every host.
Endian fileEndian();

/// Writes a string attribute, variable-length UTF-8 (how h5py writes a str).
void writeTextAttribute(hid_t object, const char* name, const std::string& text);
/// Writes a fixed-length, null-terminated ASCII attribute (how the image conventions want them).
void writeFixedTextAttribute(hid_t object, const char* name, const std::string& text);
/// Reads a string attribute of either string kind; path names the object in messages.
std::string readTextAttribute(hid_t object, const char* name, const std::string& path);
/// Whether object has the attribute.
bool hasAttribute(hid_t object, const char* name);

/// Creates the dataset name below parent holding value: natively where HDF5 can hold
/// the value's type, otherwise as its byte form. Either way with its registered name.
/// path names the dataset in messages.
void writeValue(hid_t parent, const std::string& name, const Variant& value, const std::string& path);
/// Reads the dataset back as the type its name attribute gives; throws for an unknown
/// name or a shape or element type that does not fit that type.
std::shared_ptr<Variant> readValue(hid_t dataset, const std::string& path);

/// The native file type of one element of a sequence column for a value of registered
/// name typeName (numbers, bool and strings), or an invalid Handle if it has none.
Handle columnElementType(const std::string& typeName);
/// Writes value as element index of the 1-D column dataset, whose type
/// columnElementType gave (or a byte form column when that was invalid).
void writeColumnElement(hid_t column, hsize_t index, const Variant& value, const std::string& path);
/// Reads element index of a 1-D column dataset as the type its name attribute gives.
std::shared_ptr<Variant> readColumnElement(hid_t column, hsize_t index, const std::string& path);

/// The HDF5 type of one pixel channel of an OpenCV depth, or a negative id for a depth HDF5
/// holds no native type for (CV_16F).
hid_t pixelType(int depth);
/// Reads the pixels selected by fileSpace (H5S_ALL: the whole dataset) as one image of
/// shape imageDims: (rows, cols) or (rows, cols, channels).
cv::Mat readPixels(hid_t dataset, hid_t fileSpace, const std::vector<hsize_t>& imageDims, const std::string& path);

/// Creates the group at path below file, making missing groups, with typeName as its
/// zarvo_type attribute (none when empty).
Handle createGroup(hid_t file, const std::string& path, const std::string& typeName);
/// Opens the object at path, which must be of kind (H5I_GROUP or H5I_DATASET).
Handle openObject(hid_t file, const std::string& path, H5I_type_t kind);
/// The names of a group's members in name order.
std::vector<std::string> memberNames(hid_t group, const std::string& path);
/// path/name, for path with or without a trailing slash.
std::string childPath(const std::string& path, const std::string& name);
/// The zarvo_type attribute of an object, or "" when it has none.
std::string typeAttributeOf(hid_t object, const std::string& path);

/// The dimensions of a dataset's space (empty for a scalar).
std::vector<hsize_t> shapeOf(hid_t dataset, const std::string& path);

}  // namespace zarvo::hdf5::internal
