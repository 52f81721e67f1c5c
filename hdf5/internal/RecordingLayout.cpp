#include "hdf5/internal/RecordingLayout.h"

#include <algorithm>

#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/Texts.h"

namespace zarvo::hdf5::internal {

Handle openRecording(hid_t file, const std::string& path, const std::string& fileName) {
    Handle group = openObject(file, path, H5I_GROUP);
    const std::string typeName = typeAttributeOf(group.get());
    if (typeName != kRecordingType)
        ZARVO_THROW("'" << path << "' in '" << fileName << "': holds a '" << typeName << "', not a recording");
    return group;
}

namespace {

// The column datasets below group, by their keys (dotted, relative to the metadata group).
void columnsBelow(hid_t file, const std::string& group, const std::string& prefix, Columns& columns) {
    Handle handle = openObject(file, group, H5I_GROUP);
    for (const std::string& name : memberNames(handle.get())) {
        const std::string member = childPath(group, name);
        Handle object = h5::oopen(file, member);
        if (h5::igetType(object.get()) == H5I_GROUP) columnsBelow(file, member, prefix + name + ".", columns);
        else columns.emplace_back(prefix + name, std::move(object));
    }
}

}  // namespace

Columns columnsOf(hid_t file, const std::string& recording) {
    Columns columns;
    columnsBelow(file, childPath(recording, kMetadata), "", columns);
    return columns;
}

std::string columnPath(const std::string& recording, const std::string& key) {
    std::string path = childPath(recording, std::string(kMetadata) + "/" + key);
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(recording.size()), path.end(), '.', '/');
    return path;
}

}  // namespace zarvo::hdf5::internal
