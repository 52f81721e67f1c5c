#include "hdf5/internal/H5Call.h"

namespace zarvo::hdf5::internal {

void prepareHdf5() {
    h5::checked(H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr), "H5Eset_auto2", "the error stack");
    // Appended, so that a folder the user names in HDF5_PLUGIN_PATH is searched first.
    static const herr_t pluginsFound = H5PLappend(ZARVO_HDF5_PLUGIN_DIR);
    h5::checked(pluginsFound, "H5PLappend", "the plugin path");
}

std::string hdf5Cause() {
    std::string innermost;
    // Walked upward, the first entry is the one where HDF5 met the problem; the
    // entries above it only say which call passed it on. A walk that fails leaves the
    // cause untold: the message says what failed all the same.
    const auto first = [](unsigned, const H5E_error2_t* entry, void* data) -> herr_t {
        auto* text = static_cast<std::string*>(data);
        if (text->empty() && entry->desc != nullptr) *text = entry->desc;
        return 0;
    };
    static_cast<void>(H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, first, &innermost));
    return innermost.empty() ? "" : " (HDF5: " + innermost + ")";
}

std::string nameOf(hid_t object) {
    // Asked only for a message: a failure here leaves the object named by its kind.
    const H5I_type_t kind = H5Iget_type(object);
    const auto nameBy = [object](auto getName) {
        const ssize_t length = getName(object, nullptr, 0);
        std::string name(length > 0 ? static_cast<size_t>(length) + 1 : 0, '\0');
        if (length <= 0 || getName(object, name.data(), name.size()) != length) return std::string();
        name.resize(static_cast<size_t>(length));
        return "'" + name + "'";
    };
    const std::string name = kind == H5I_FILE ? nameBy(H5Fget_name) : nameBy(H5Iget_name);
    if (!name.empty()) return name;
    switch (kind) {
        case H5I_DATATYPE: return "a datatype";
        case H5I_DATASPACE: return "a dataspace";
        case H5I_GENPROP_LST: return "a property list";
        case H5I_FILE: return "a file";
        default: return "an object without a name";
    }
}

const char* classText(H5T_class_t kind) {
    switch (kind) {
        case H5T_INTEGER: return "integer";
        case H5T_FLOAT: return "float";
        case H5T_STRING: return "string";
        case H5T_ENUM: return "enum";
        case H5T_COMPOUND: return "compound";
        case H5T_VLEN: return "variable-length";
        case H5T_ARRAY: return "array";
        default: return "opaque";
    }
}

void failAt(hid_t object, const std::string& why) { ZARVO_THROW(nameOf(object) << ": " << why); }

}  // namespace zarvo::hdf5::internal

namespace zarvo::hdf5::internal::h5 {

void fail(const char* call, const std::string& object) { ZARVO_THROW(call << " failed on " << object << hdf5Cause()); }

void fail(const char* call, hid_t object) {
    const std::string cause = hdf5Cause();
    ZARVO_THROW(call << " failed on " << nameOf(object) << cause);
}

}  // namespace zarvo::hdf5::internal::h5
