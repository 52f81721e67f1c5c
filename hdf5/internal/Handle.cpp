#include "hdf5/internal/Handle.h"

#include <string>

namespace zarvo::hdf5::internal {

Handle& Handle::operator=(Handle&& other) noexcept {
    if (this != &other) {
        reset();
        m_id = other.release();
    }
    return *this;
}

hid_t Handle::release() {
    const hid_t id = m_id;
    m_id = H5I_INVALID_HID;
    return id;
}

void Handle::reset() {
    if (m_id < 0) return;
    switch (H5Iget_type(m_id)) {
        case H5I_FILE: H5Fclose(m_id); break;
        case H5I_GROUP: H5Gclose(m_id); break;
        case H5I_DATASET: H5Dclose(m_id); break;
        case H5I_ATTR: H5Aclose(m_id); break;
        case H5I_DATATYPE: H5Tclose(m_id); break;
        case H5I_DATASPACE: H5Sclose(m_id); break;
        case H5I_GENPROP_LST: H5Pclose(m_id); break;
        default: H5Idec_ref(m_id); break;
    }
    m_id = H5I_INVALID_HID;
}

void prepareHdf5() {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    // Appended, so that a folder the user names in HDF5_PLUGIN_PATH is searched first.
    static const bool pluginsFound = H5PLappend(ZARVO_HDF5_PLUGIN_DIR) >= 0;
    static_cast<void>(pluginsFound);
}

std::string hdf5Cause() {
    std::string innermost;
    // Walked upward, the first entry is the one where HDF5 met the problem; the
    // entries above it only say which call passed it on.
    const auto first = [](unsigned, const H5E_error2_t* entry, void* data) -> herr_t {
        auto* text = static_cast<std::string*>(data);
        if (text->empty() && entry->desc != nullptr) *text = entry->desc;
        return 0;
    };
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, first, &innermost);
    return innermost.empty() ? "" : " (HDF5: " + innermost + ")";
}

}  // namespace zarvo::hdf5::internal
