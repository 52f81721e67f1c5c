#include "hdf5/internal/Handle.h"

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

}  // namespace zarvo::hdf5::internal
