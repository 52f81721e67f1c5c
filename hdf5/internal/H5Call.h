#pragma once

// Internal to zarvo_hdf5: every HDF5 call the library makes, each checked. HDF5 reports
// a failure by a negative identifier or status; each wrapper turns that into a
// zarvo::Exception naming the call, the object it acted on and HDF5's own cause, so
// that no caller can forget to look.

#include <hdf5.h>
#include <hdf5_hl.h>

#include <string>

#include "hdf5/internal/Handle.h"
#include "valuefault/Exception.h"

namespace zarvo::hdf5::internal {

/// Switches HDF5's printing of its error stack off for this process (every failure
/// reaches the caller as a zarvo::Exception instead) and, once, adds the folder of
/// Debian's HDF5 filter plugins to HDF5's plugin path, so that LZ4 and bitshuffle
/// compressed data read and write with no setting by the user. Cheap; called by every
/// entry point.
void prepareHdf5();

/// HDF5's own account of the failure just reported: " (HDF5: " and the innermost
/// entry of its error stack, where the cause lies, then ")"; empty when the stack is empty.
std::string hdf5Cause();

/// How messages name an object: its path in the file in quotes ("'/run/images'"), or
/// what it is when it has none ("a dataspace").
std::string nameOf(hid_t object);

/// The name of a datatype class as messages write it: "integer", "string", ...
const char* classText(H5T_class_t kind);

/// Throws a zarvo::Exception about object, named as nameOf does: "'/run/images': " and why.
[[noreturn]] void failAt(hid_t object, const std::string& why);

}  // namespace zarvo::hdf5::internal

namespace zarvo::hdf5::internal::h5 {

/// Throws the exception of a failed call on object, named as given: "H5Dwrite failed on
/// '/run/images'" and HDF5's cause.
[[noreturn]] void fail(const char* call, const std::string& object);
/// The same for the object identified by object, named as nameOf does (after HDF5's
/// cause is taken: asking for a name clears HDF5's error stack).
[[noreturn]] void fail(const char* call, hid_t object);

/// result, or the exception of call on the object identified by object when it failed.
template <class R>
R checked(R result, const char* call, hid_t object) {
    if (result < 0) fail(call, object);
    return result;
}
/// result, or the exception of call on the object at path when it failed.
template <class R>
R checked(R result, const char* call, const std::string& path) {
    if (result < 0) fail(call, "'" + path + "'");
    return result;
}
/// result, or the exception of call making what ("a dataspace") when it failed.
template <class R>
R checked(R result, const char* call, const char* what) {
    if (result < 0) fail(call, what);
    return result;
}

// Files.
inline Handle fcreate(const std::string& name, hid_t creation, hid_t access) {
    return Handle(checked(H5Fcreate(name.c_str(), H5F_ACC_TRUNC, creation, access), "H5Fcreate", name));
}
/// Opens a file, or gives an invalid Handle: the caller tries another way, then throws.
inline Handle fopenOrNone(const std::string& name, unsigned flags, hid_t access) {
    return Handle(H5Fopen(name.c_str(), flags, access));
}
/// Whether the file is an HDF5 file; false also when it can not be read at all.
inline bool fisHdf5(const std::string& name) { return H5Fis_hdf5(name.c_str()) > 0; }
inline void fclose(hid_t file) { checked(H5Fclose(file), "H5Fclose", file); }
inline void fflush(hid_t file) { checked(H5Fflush(file, H5F_SCOPE_LOCAL), "H5Fflush", file); }
inline unsigned fgetIntent(hid_t file) {
    unsigned intent = 0;
    checked(H5Fget_intent(file, &intent), "H5Fget_intent", file);
    return intent;
}
inline void fstartSwmrWrite(hid_t file) { checked(H5Fstart_swmr_write(file), "H5Fstart_swmr_write", file); }

// Groups, links and objects.
inline Handle gcreate(hid_t parent, const std::string& path, hid_t links) {
    return Handle(checked(H5Gcreate2(parent, path.c_str(), links, H5P_DEFAULT, H5P_DEFAULT), "H5Gcreate2", path));
}
inline Handle oopen(hid_t parent, const std::string& path) {
    return Handle(checked(H5Oopen(parent, path.c_str(), H5P_DEFAULT), "H5Oopen", path));
}
inline H5I_type_t igetType(hid_t object) { return checked(H5Iget_type(object), "H5Iget_type", object); }
inline bool lexists(hid_t parent, const std::string& path) {
    return checked(H5Lexists(parent, path.c_str(), H5P_DEFAULT), "H5Lexists", path) > 0;
}
inline void ldelete(hid_t parent, const std::string& path) {
    checked(H5Ldelete(parent, path.c_str(), H5P_DEFAULT), "H5Ldelete", path);
}
inline void literate(hid_t group, H5L_iterate_t visit, void* data) {
    checked(H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, nullptr, visit, data), "H5Literate", group);
}

// Datasets.
inline Handle dcreate(hid_t parent, const std::string& path, hid_t type, hid_t space, hid_t links, hid_t creation,
                      hid_t access) {
    return Handle(checked(H5Dcreate2(parent, path.c_str(), type, space, links, creation, access), "H5Dcreate2", path));
}
inline Handle dopen(hid_t parent, const std::string& path, hid_t access) {
    return Handle(checked(H5Dopen2(parent, path.c_str(), access), "H5Dopen2", path));
}
inline Handle dgetSpace(hid_t dataset) { return Handle(checked(H5Dget_space(dataset), "H5Dget_space", dataset)); }
inline Handle dgetType(hid_t dataset) { return Handle(checked(H5Dget_type(dataset), "H5Dget_type", dataset)); }
inline Handle dgetCreatePlist(hid_t dataset) {
    return Handle(checked(H5Dget_create_plist(dataset), "H5Dget_create_plist", dataset));
}
inline void dread(hid_t dataset, hid_t type, hid_t memory, hid_t file, hid_t transfer, void* buffer) {
    checked(H5Dread(dataset, type, memory, file, transfer, buffer), "H5Dread", dataset);
}
inline void dwrite(hid_t dataset, hid_t type, hid_t memory, hid_t file, hid_t transfer, const void* buffer) {
    checked(H5Dwrite(dataset, type, memory, file, transfer, buffer), "H5Dwrite", dataset);
}
inline void dwriteChunk(hid_t dataset, const hsize_t* offset, size_t bytes, const void* buffer) {
    checked(H5Dwrite_chunk(dataset, H5P_DEFAULT, 0, offset, bytes, buffer), "H5Dwrite_chunk", dataset);
}
inline void dsetExtent(hid_t dataset, const hsize_t* dims) {
    checked(H5Dset_extent(dataset, dims), "H5Dset_extent", dataset);
}

// Attributes.
inline bool aexists(hid_t object, const char* name) {
    return checked(H5Aexists(object, name), "H5Aexists", object) > 0;
}
inline Handle acreate(hid_t object, const char* name, hid_t type, hid_t space) {
    return Handle(checked(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), "H5Acreate2", object));
}
inline Handle aopen(hid_t object, const char* name) {
    return Handle(checked(H5Aopen(object, name, H5P_DEFAULT), "H5Aopen", object));
}
inline Handle agetType(hid_t attribute) { return Handle(checked(H5Aget_type(attribute), "H5Aget_type", attribute)); }
inline void aread(hid_t attribute, hid_t type, void* buffer) {
    checked(H5Aread(attribute, type, buffer), "H5Aread", attribute);
}
inline void awrite(hid_t attribute, hid_t type, const void* buffer) {
    checked(H5Awrite(attribute, type, buffer), "H5Awrite", attribute);
}

// Datatypes.
inline Handle tcopy(hid_t type) { return Handle(checked(H5Tcopy(type), "H5Tcopy", "a datatype")); }
inline Handle tenumCreate(hid_t base) { return Handle(checked(H5Tenum_create(base), "H5Tenum_create", "a datatype")); }
inline void tenumInsert(hid_t type, const char* name, const void* value) {
    checked(H5Tenum_insert(type, name, value), "H5Tenum_insert", type);
}
inline Handle tvlenCreate(hid_t base) { return Handle(checked(H5Tvlen_create(base), "H5Tvlen_create", "a datatype")); }
inline void tsetSize(hid_t type, size_t size) { checked(H5Tset_size(type, size), "H5Tset_size", type); }
inline void tsetCset(hid_t type, H5T_cset_t set) { checked(H5Tset_cset(type, set), "H5Tset_cset", type); }
inline void tsetStrpad(hid_t type, H5T_str_t pad) { checked(H5Tset_strpad(type, pad), "H5Tset_strpad", type); }
inline H5T_class_t tgetClass(hid_t type) { return checked(H5Tget_class(type), "H5Tget_class", type); }
inline H5T_sign_t tgetSign(hid_t type) { return checked(H5Tget_sign(type), "H5Tget_sign", type); }
inline bool tisVariableStr(hid_t type) { return checked(H5Tis_variable_str(type), "H5Tis_variable_str", type) > 0; }
/// The size of a type in bytes (HDF5 reports a failure by 0, which no type has).
inline size_t tgetSize(hid_t type) {
    const size_t size = H5Tget_size(type);
    if (size == 0) fail("H5Tget_size", type);
    return size;
}

// Dataspaces.
inline Handle screate(H5S_class_t kind) { return Handle(checked(H5Screate(kind), "H5Screate", "a dataspace")); }
inline Handle screateSimple(int rank, const hsize_t* dims, const hsize_t* maxDims) {
    return Handle(checked(H5Screate_simple(rank, dims, maxDims), "H5Screate_simple", "a dataspace"));
}
inline void sselectHyperslab(hid_t space, const hsize_t* start, const hsize_t* count) {
    checked(H5Sselect_hyperslab(space, H5S_SELECT_SET, start, nullptr, count, nullptr), "H5Sselect_hyperslab", space);
}
inline int sgetSimpleExtentNdims(hid_t space) {
    return checked(H5Sget_simple_extent_ndims(space), "H5Sget_simple_extent_ndims", space);
}
inline void sgetSimpleExtentDims(hid_t space, hsize_t* dims) {
    checked(H5Sget_simple_extent_dims(space, dims, nullptr), "H5Sget_simple_extent_dims", space);
}

// Property lists.
inline Handle pcreate(hid_t kind) { return Handle(checked(H5Pcreate(kind), "H5Pcreate", "a property list")); }
inline void pset(hid_t list, const char* name, void* value) { checked(H5Pset(list, name, value), "H5Pset", list); }
inline void psetBuffer(hid_t list, size_t bytes) {
    checked(H5Pset_buffer(list, bytes, nullptr, nullptr), "H5Pset_buffer", list);
}
inline void psetCreateIntermediateGroup(hid_t list) {
    checked(H5Pset_create_intermediate_group(list, 1), "H5Pset_create_intermediate_group", list);
}
inline void psetChunk(hid_t list, int rank, const hsize_t* dims) {
    checked(H5Pset_chunk(list, rank, dims), "H5Pset_chunk", list);
}
inline void psetFillTime(hid_t list, H5D_fill_time_t when) {
    checked(H5Pset_fill_time(list, when), "H5Pset_fill_time", list);
}
inline void psetChunkCache(hid_t list, size_t slots, size_t bytes) {
    checked(H5Pset_chunk_cache(list, slots, bytes, H5D_CHUNK_CACHE_W0_DEFAULT), "H5Pset_chunk_cache", list);
}
inline void psetShuffle(hid_t list) { checked(H5Pset_shuffle(list), "H5Pset_shuffle", list); }
inline void psetDeflate(hid_t list, unsigned level) { checked(H5Pset_deflate(list, level), "H5Pset_deflate", list); }
inline void psetFilter(hid_t list, H5Z_filter_t filter, size_t count, const unsigned* values) {
    checked(H5Pset_filter(list, filter, H5Z_FLAG_MANDATORY, count, values), "H5Pset_filter", list);
}
inline int pgetNfilters(hid_t list) { return checked(H5Pget_nfilters(list), "H5Pget_nfilters", list); }
/// Filter index of the list, with its first value (deflate's level) when it has one.
inline H5Z_filter_t pgetFilter(hid_t list, unsigned index, unsigned& firstValue) {
    unsigned flags = 0, config = 0;
    size_t count = 1;
    return checked(H5Pget_filter2(list, index, &flags, &count, &firstValue, 0, nullptr, &config), "H5Pget_filter2",
                   list);
}
inline void psetLibverBounds(hid_t list) {
    checked(H5Pset_libver_bounds(list, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST), "H5Pset_libver_bounds", list);
}
inline void psetFileSpaceStrategy(hid_t list, H5F_fspace_strategy_t strategy) {
    checked(H5Pset_file_space_strategy(list, strategy, false, 1), "H5Pset_file_space_strategy", list);
}
inline void psetFileSpacePageSize(hid_t list, hsize_t bytes) {
    checked(H5Pset_file_space_page_size(list, bytes), "H5Pset_file_space_page_size", list);
}
inline void psetMetadataReadAttempts(hid_t list, unsigned attempts) {
    checked(H5Pset_metadata_read_attempts(list, attempts), "H5Pset_metadata_read_attempts", list);
}

// Filters and dimension scales.
/// Whether HDF5 can load the filter and encode with it.
inline bool zcanEncode(H5Z_filter_t filter) {
    if (checked(H5Zfilter_avail(filter), "H5Zfilter_avail", "a filter") <= 0) return false;
    unsigned config = 0;
    checked(H5Zget_filter_info(filter, &config), "H5Zget_filter_info", "a filter");
    return (config & H5Z_FILTER_CONFIG_ENCODE_ENABLED) != 0;
}
inline void dsSetScale(hid_t dataset, const char* name) {
    checked(H5DSset_scale(dataset, name), "H5DSset_scale", dataset);
}
inline void dsAttachScale(hid_t dataset, hid_t scale, unsigned axis) {
    checked(H5DSattach_scale(dataset, scale, axis), "H5DSattach_scale", dataset);
}

// Memory HDF5 allocated for the caller.
inline void freeMemory(void* memory) { checked(H5free_memory(memory), "H5free_memory", "memory"); }

}  // namespace zarvo::hdf5::internal::h5
