#include "hdf5/internal/FileTree.h"

#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/Shared.h"
#include "hdf5/internal/Texts.h"

namespace zarvo::hdf5::internal {

Handle createGroup(hid_t file, const std::string& path, const std::string& typeName) {
    Handle group = h5::gcreate(file, path, createMissingGroups());
    if (!typeName.empty()) writeTextAttribute(group.get(), kTypeAttribute, typeName);
    return group;
}

Handle createDataset(hid_t parent, const std::string& path, hid_t type, const std::vector<hsize_t>& dims) {
    Handle space =
        dims.empty() ? h5::screate(H5S_SCALAR) : h5::screateSimple(static_cast<int>(dims.size()), dims.data(), nullptr);
    return h5::dcreate(parent, path, type, space.get(), createMissingGroups(), H5P_DEFAULT, H5P_DEFAULT);
}

Handle openObject(hid_t file, const std::string& path, H5I_type_t kind) {
    Handle object = h5::oopen(file, path);
    if (h5::igetType(object.get()) != kind) failAt(object.get(), kind == H5I_GROUP ? "is no group" : "is no dataset");
    return object;
}

std::vector<std::string> memberNames(hid_t group) {
    std::vector<std::string> names;
    const auto collect = [](hid_t, const char* name, const H5L_info_t*, void* data) -> herr_t {
        static_cast<std::vector<std::string>*>(data)->push_back(name);
        return 0;
    };
    h5::literate(group, collect, &names);
    return names;
}

std::string childPath(const std::string& path, const std::string& name) {
    return path.empty() || path.back() == '/' ? path + name : path + "/" + name;
}

Selection wholeOf(hid_t dataset, size_t count) {
    const hsize_t n = count;
    return {h5::screateSimple(1, &n, nullptr), h5::dgetSpace(dataset), count};
}

Selection elementOf(hid_t dataset, hsize_t index) {
    const hsize_t one = 1;
    Selection slot{h5::screateSimple(1, &one, nullptr), h5::dgetSpace(dataset), 1};
    h5::sselectHyperslab(slot.file.get(), &index, &one);
    return slot;
}

std::vector<hsize_t> shapeOf(hid_t dataset) {
    Handle space = h5::dgetSpace(dataset);
    std::vector<hsize_t> dims(static_cast<size_t>(h5::sgetSimpleExtentNdims(space.get())));
    h5::sgetSimpleExtentDims(space.get(), dims.data());
    return dims;
}

std::string shapeText(const std::vector<hsize_t>& dims) {
    if (dims.empty()) return "scalar";
    std::string text = "(";
    for (size_t i = 0; i < dims.size(); ++i) text += (i ? ", " : "") + std::to_string(dims[i]);
    return text + (dims.size() == 1 ? ",)" : ")");
}

}  // namespace zarvo::hdf5::internal
