#pragma once

// Internal to zarvo_hdf5: never installed, the only place besides the sources that
// sees HDF5's own header.

#include <hdf5.h>

#include <string>

#include "valuefault/Exception.h"

namespace zarvo::hdf5::internal {

/// Owns one HDF5 identifier (file, group, dataset, attribute, type, space or property
/// list) and closes it with the function that fits its kind. Move only.
class Handle {
public:
    /// Holds no identifier.
    Handle() = default;
    /// Takes id over; a negative id (a failed HDF5 call) is held as none.
    explicit Handle(hid_t id) : m_id(id) {}
    /// Takes other's identifier; other is left holding none.
    Handle(Handle&& other) noexcept : m_id(other.release()) {}
    /// Closes the present identifier, then takes other's.
    Handle& operator=(Handle&& other) noexcept;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    /// Closes the identifier.
    ~Handle() { reset(); }

    /// The identifier, for HDF5 calls.
    hid_t get() const { return m_id; }
    /// Whether an identifier is held.
    bool valid() const { return m_id >= 0; }
    /// Gives the identifier up without closing it.
    hid_t release();
    /// Closes the identifier (errors ignored: a close in a destructor has no one to tell).
    void reset();

private:
    hid_t m_id = H5I_INVALID_HID;
};

/// Switches HDF5's printing of its error stack off for this process (every failure
/// reaches the caller as a zarvo::Exception instead) and, once, adds the folder of
/// Debian's HDF5 filter plugins to HDF5's plugin path, so that LZ4 and bitshuffle
/// compressed data read and write with no setting by the user. Cheap; called by every
/// entry point.
void prepareHdf5();

/// HDF5's own account of the failure just reported: " (HDF5: " and the innermost
/// entry of its error stack, where the cause lies, then ")"; empty when the stack is empty.
std::string hdf5Cause();

}  // namespace zarvo::hdf5::internal

/// Runs an HDF5 call and throws a zarvo::Exception with the streamed message and
/// HDF5's cause if it returns a negative value, which is how HDF5 reports every failure.
#define ZARVO_H5_CHECK(call, streamedMessage)                                                  \
    do {                                                                                       \
        if ((call) < 0) ZARVO_THROW(streamedMessage << ::zarvo::hdf5::internal::hdf5Cause()); \
    } while (false)

/// A Handle to the identifier call returns; throws like ZARVO_H5_CHECK if it failed.
#define ZARVO_H5_OPEN(call, streamedMessage)                                                        \
    [&] {                                                                                           \
        ::zarvo::hdf5::internal::Handle zarvoHandle_(call);                                         \
        if (!zarvoHandle_.valid()) ZARVO_THROW(streamedMessage << ::zarvo::hdf5::internal::hdf5Cause()); \
        return zarvoHandle_;                                                                        \
    }()
