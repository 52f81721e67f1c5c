#include "hdf5/internal/Shared.h"

#include "hdf5/internal/H5Call.h"

namespace zarvo::hdf5::internal {

namespace {

// The identifier make gives, made at the first call; a failure throws and is tried again next time.
template <class Make>
hid_t keep(hid_t& kept, Make make) {
    if (kept < 0) kept = make().release();
    return kept;
}

}  // namespace

hid_t createMissingGroups() {
    static hid_t kept = H5I_INVALID_HID;
    return keep(kept, [] {
        Handle links = h5::pcreate(H5P_LINK_CREATE);
        h5::psetCreateIntermediateGroup(links.get());
        return links;
    });
}

hid_t smallTransfer() {
    static hid_t kept = H5I_INVALID_HID;
    return keep(kept, [] {
        Handle transfer = h5::pcreate(H5P_DATASET_XFER);
        h5::psetBuffer(transfer.get(), 64 * 1024);
        return transfer;
    });
}

hid_t utf8Type() {
    static hid_t kept = H5I_INVALID_HID;
    return keep(kept, [] {
        Handle type = h5::tcopy(H5T_C_S1);
        h5::tsetSize(type.get(), H5T_VARIABLE);
        h5::tsetCset(type.get(), H5T_CSET_UTF8);
        return type;
    });
}

hid_t boolType() {
    static hid_t kept = H5I_INVALID_HID;
    return keep(kept, [] {
        Handle type = h5::tenumCreate(H5T_NATIVE_INT8);
        const signed char no = 0, yes = 1;
        h5::tenumInsert(type.get(), "FALSE", &no);
        h5::tenumInsert(type.get(), "TRUE", &yes);
        return type;
    });
}

hid_t byteFormType() {
    static hid_t kept = H5I_INVALID_HID;
    return keep(kept, [] { return h5::tvlenCreate(H5T_NATIVE_UINT8); });
}

}  // namespace zarvo::hdf5::internal
