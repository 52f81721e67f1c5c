#pragma once

// Internal to zarvo_hdf5: text attributes, and the two ways strings lie in a file
// (variable-length, or fixed-length as numpy's bytes_ and the image conventions write
// them) read the same way for attributes and datasets.

#include <hdf5.h>

#include <functional>
#include <string>
#include <vector>

namespace zarvo::hdf5::internal {

/// Reads through read(memoryType, buffer) count fixed-length strings of width bytes,
/// each up to its first NUL or its whole width.
std::vector<std::string> readFixedTexts(size_t width, size_t count, const std::function<void(hid_t, void*)>& read);
/// Reads through read(memoryType, buffer) count variable-length strings.
std::vector<std::string> readVariableTexts(size_t count, const std::function<void(hid_t, void*)>& read);

/// Writes a string attribute, variable-length UTF-8 (how h5py writes a str).
void writeTextAttribute(hid_t object, const char* name, const std::string& text);
/// Writes a list of strings as a 1-D attribute, variable-length UTF-8 (how h5py writes a list of str).
void writeTextListAttribute(hid_t object, const char* name, const std::vector<std::string>& texts);
/// Writes a fixed-length, null-terminated ASCII attribute (how the image conventions want them).
void writeFixedTextAttribute(hid_t object, const char* name, const std::string& text);
/// Reads a string attribute of either string kind.
std::string readTextAttribute(hid_t object, const char* name);
/// Whether object has the attribute.
bool hasAttribute(hid_t object, const char* name);
/// The zarvo_type attribute of an object, or "" when it has none.
std::string typeAttributeOf(hid_t object);

}  // namespace zarvo::hdf5::internal
