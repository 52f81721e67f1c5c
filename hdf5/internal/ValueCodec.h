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

/// Attribute of a dataset whose first axis counts a recording's frames (its frame stack,
/// a metadata column, its timestamps): it holds one element per frame, not one value.
inline constexpr const char* kPerFrameAttribute = "zarvo_per_frame";
/// zarvo_type of a recording's frame stack, shape (frames, rows, cols[, channels]).
inline constexpr const char* kStackType = "framestack";
/// Attribute of a colour image or stack stored in RGB order ("RGB"), which viewers
/// assume; OpenCV holds BGR, so the red and blue channels are swapped on the way.
inline constexpr const char* kChannelOrderAttribute = "zarvo_channel_order";

/// The byte order of byte forms in a file: little-endian on every host.
Endian fileEndian();

/// Writes a string attribute, variable-length UTF-8 (how h5py writes a str).
void writeTextAttribute(hid_t object, const char* name, const std::string& text);
/// Writes a list of strings as a 1-D attribute, variable-length UTF-8 (how h5py writes a list of str).
void writeTextListAttribute(hid_t object, const char* name, const std::vector<std::string>& texts);
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
/// columnElementType gave, or of a byte form column (byteForm: when that was invalid).
void writeColumnElement(hid_t column, hsize_t index, const Variant& value, bool byteForm, const std::string& path);
/// Whether a dataset holds byte forms (its zarvo_form attribute), not native values.
bool isByteForm(hid_t dataset, const std::string& path);
/// Reads element index of a 1-D integer column as an int64, its name attribute unread (timestamps).
std::int64_t readInt64Element(hid_t column, hsize_t index, const std::string& path);
/// Reads element index of a 1-D column dataset as the type its name attribute gives.
std::shared_ptr<Variant> readColumnElement(hid_t column, hsize_t index, const std::string& path);

/// The HDF5 type of one pixel channel of an OpenCV depth, or a negative id for a depth HDF5
/// holds no native type for (CV_16F).
hid_t pixelType(int depth);
/// The OpenCV depth of an HDF5 pixel type, or -1 for a type no matrix holds.
int depthOf(hid_t type);
/// Reads the pixels selected by fileSpace (H5S_ALL: the whole dataset) as one image of
/// shape imageDims: (rows, cols) or (rows, cols, channels).
cv::Mat readPixels(hid_t dataset, hid_t fileSpace, const std::vector<hsize_t>& imageDims, const std::string& path);

/// Whether an image of this many channels is stored in RGB order (3 or 4 channels).
bool storedAsRgb(int channels);
/// The image with its red and blue channels swapped (BGR to RGB and back) when
/// storedAsRgb; otherwise the image itself.
cv::Mat swapRedBlue(const cv::Mat& image);
/// Reads frame index of the frame stack at path, in OpenCV's channel order.
cv::Mat readStackFrame(hid_t stack, hsize_t index, const std::string& path);

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
