#pragma once

// Internal to zarvo_hdf5: the filters that compress a recording's frame stack.

#include <hdf5.h>

#include <string>

#include "hdf5/FrameRecorder.h"

namespace zarvo::hdf5::internal {

/// The compression options ask for, with deflate selected by a level alone as it was before.
FrameRecorder::Compression chosenCompression(const FrameRecorder::Options& options);
/// Sets the images' filters on a dataset creation property list; throws, naming the
/// recording at path, when HDF5 cannot load a plugin filter asked for.
void setFilters(hid_t creation, const FrameRecorder::Options& options, const std::string& path);
/// The filters of a frame stack as text: "none", "deflate 4 + shuffle", "lz4 + shuffle", "bitshuffle-lz4".
std::string compressionText(hid_t stack);
/// Keeps the buffers HDF5's filters allocate for chunks of this size on the heap for the next frame.
void keepFilterBuffers(size_t chunkBytes);

}  // namespace zarvo::hdf5::internal
