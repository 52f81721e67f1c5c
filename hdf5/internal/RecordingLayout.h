#pragma once

// Internal to zarvo_hdf5: how a recording lies in its group, shared by the recorder that
// writes or resumes it and the reader.

#include <hdf5.h>

#include <string>
#include <utility>
#include <vector>

#include "hdf5/internal/Handle.h"

namespace zarvo::hdf5::internal {

/// A recording's metadata columns by their dotted keys, in key order.
using Columns = std::vector<std::pair<std::string, Handle>>;

/// Opens the recording's group at path; throws if it holds anything else (fileName names the file).
Handle openRecording(hid_t file, const std::string& path, const std::string& fileName);
/// The metadata columns of the recording at path.
Columns columnsOf(hid_t file, const std::string& recording);
/// The path of the column of a dotted metadata key: its groups are the key's parts.
std::string columnPath(const std::string& recording, const std::string& key);

}  // namespace zarvo::hdf5::internal
