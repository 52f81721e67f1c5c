#pragma once

// Internal to zarvo_hdf5: the names of what the library writes into a file, in one
// place. They are the file format: h5py scripts and other readers look for them.

#include <hdf5.h>

namespace zarvo::hdf5::internal {

/// Attribute holding the registered name of what a dataset or group holds.
inline constexpr const char* kTypeAttribute = "zarvo_type";
/// Attribute marking a dataset that holds a byte form instead of a native value.
inline constexpr const char* kFormAttribute = "zarvo_form";
/// Value of kFormAttribute: the value's byte form, little-endian, as uint8 elements.
inline constexpr const char* kByteForm = "bytes-le";
/// Attribute of a dataset whose first axis counts a recording's frames (its frame stack,
/// a metadata column, its timestamps): it holds one element per frame, not one value.
inline constexpr const char* kPerFrameAttribute = "zarvo_per_frame";
/// Value of kPerFrameAttribute: the axis that counts the frames.
inline constexpr const char* kFrameAxis = "axis 0";
/// Attribute of a colour image or stack stored in RGB order ("RGB"), which viewers
/// assume; OpenCV holds BGR, so the red and blue channels are swapped on the way.
inline constexpr const char* kChannelOrderAttribute = "zarvo_channel_order";
/// Value of kChannelOrderAttribute.
inline constexpr const char* kRgb = "RGB";

/// zarvo_type of a storage's group.
inline constexpr const char* kStorageType = "storage";
/// zarvo_type of a frame's group.
inline constexpr const char* kFrameType = "frame";
/// zarvo_type of a recording's group.
inline constexpr const char* kRecordingType = "recording";
/// zarvo_type of a recording's frame stack, shape (frames, rows, cols[, channels]).
inline constexpr const char* kStackType = "framestack";

/// A frame's matrix, below its group.
inline constexpr const char* kImage = "image";
/// A recording's frame stack, below its group.
inline constexpr const char* kImages = "images";
/// A recording's frame axis: int64 nanoseconds since the Unix epoch, one per frame.
inline constexpr const char* kTimestamps = "timestamps";
/// A frame's storage, or a recording's group of metadata columns.
inline constexpr const char* kMetadata = "metadata";

/// HDF5's registered numbers of the plugin filters a recording may use.
inline constexpr H5Z_filter_t kLz4Filter = 32004;
inline constexpr H5Z_filter_t kBitshuffleFilter = 32008;

}  // namespace zarvo::hdf5::internal
