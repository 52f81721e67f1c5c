#pragma once

// Internal to zarvo_hdf5: groups, datasets and paths of a file, and their shapes.

#include <hdf5.h>

#include <string>
#include <vector>

#include "hdf5/internal/Handle.h"

namespace zarvo::hdf5::internal {

/// Creates the group at path below file, making missing groups, with typeName as its
/// zarvo_type attribute (none when empty).
Handle createGroup(hid_t file, const std::string& path, const std::string& typeName);
/// Creates the dataset at path below parent, making missing groups: a scalar for no
/// dims, otherwise of fixed shape dims.
Handle createDataset(hid_t parent, const std::string& path, hid_t type, const std::vector<hsize_t>& dims);
/// Opens the object at path, which must be of kind (H5I_GROUP or H5I_DATASET).
Handle openObject(hid_t file, const std::string& path, H5I_type_t kind);
/// The names of a group's members in name order.
std::vector<std::string> memberNames(hid_t group);
/// path/name, for path with or without a trailing slash.
std::string childPath(const std::string& path, const std::string& name);

/// The spaces of a transfer: in memory and in the file, and how many elements they hold.
struct Selection {
    Handle memory;
    Handle file;
    size_t count;
};
/// All count elements of a scalar or 1-D dataset.
Selection wholeOf(hid_t dataset, size_t count);
/// Element index of a 1-D dataset.
Selection elementOf(hid_t dataset, hsize_t index);

/// The dimensions of a dataset's space (empty for a scalar).
std::vector<hsize_t> shapeOf(hid_t dataset);
/// A shape as messages and listings write it: "scalar", "(3,)", "(480, 640)".
std::string shapeText(const std::vector<hsize_t>& dims);

}  // namespace zarvo::hdf5::internal
