#pragma once

// Internal to zarvo_hdf5: never installed, the only place besides the sources that
// sees HDF5's own header.

#include <hdf5.h>

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

}  // namespace zarvo::hdf5::internal
