#include "hdf5/internal/Texts.h"

#include <cstring>

#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/Shared.h"

namespace zarvo::hdf5::internal {

std::vector<std::string> readFixedTexts(size_t width, size_t count, const std::function<void(hid_t, void*)>& read) {
    Handle memoryType = h5::tcopy(H5T_C_S1);
    h5::tsetSize(memoryType.get(), width);
    h5::tsetStrpad(memoryType.get(), H5T_STR_NULLPAD);  // all width characters, a terminator or not
    std::vector<char> buffer(width * count);
    read(memoryType.get(), buffer.data());
    std::vector<std::string> texts;
    for (size_t i = 0; i < count; ++i) {
        const char* text = buffer.data() + i * width;
        texts.emplace_back(text, strnlen(text, width));
    }
    return texts;
}

std::vector<std::string> readVariableTexts(size_t count, const std::function<void(hid_t, void*)>& read) {
    std::vector<char*> pointers(count, nullptr);
    read(utf8Type(), pointers.data());
    std::vector<std::string> texts;
    for (char* text : pointers) texts.emplace_back(text ? text : "");
    for (char* text : pointers)
        if (text) h5::freeMemory(text);
    return texts;
}

namespace {

// Texts as a variable-length UTF-8 attribute of the given space.
void writeTexts(hid_t object, const char* name, const std::vector<const char*>& texts, hid_t space) {
    Handle attribute = h5::acreate(object, name, utf8Type(), space);
    h5::awrite(attribute.get(), utf8Type(), texts.data());
}

}  // namespace

void writeTextAttribute(hid_t object, const char* name, const std::string& text) {
    Handle space = h5::screate(H5S_SCALAR);
    writeTexts(object, name, {text.c_str()}, space.get());
}

void writeTextListAttribute(hid_t object, const char* name, const std::vector<std::string>& texts) {
    const hsize_t count = texts.size();
    Handle space = h5::screateSimple(1, &count, nullptr);
    std::vector<const char*> pointers;
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    writeTexts(object, name, pointers, space.get());
}

void writeFixedTextAttribute(hid_t object, const char* name, const std::string& text) {
    Handle type = h5::tcopy(H5T_C_S1);
    h5::tsetSize(type.get(), text.size() + 1);
    h5::tsetStrpad(type.get(), H5T_STR_NULLTERM);
    Handle space = h5::screate(H5S_SCALAR);
    Handle attribute = h5::acreate(object, name, type.get(), space.get());
    h5::awrite(attribute.get(), type.get(), text.c_str());
}

std::string readTextAttribute(hid_t object, const char* name) {
    Handle attribute = h5::aopen(object, name);
    Handle type = h5::agetType(attribute.get());
    if (h5::tgetClass(type.get()) != H5T_STRING) failAt(object, std::string("attribute '") + name + "' is no string");
    const auto read = [&](hid_t memoryType, void* buffer) { h5::aread(attribute.get(), memoryType, buffer); };
    if (h5::tisVariableStr(type.get())) return readVariableTexts(1, read).front();
    return readFixedTexts(h5::tgetSize(type.get()), 1, read).front();
}

bool hasAttribute(hid_t object, const char* name) { return h5::aexists(object, name); }

std::string typeAttributeOf(hid_t object) {
    return hasAttribute(object, kTypeAttribute) ? readTextAttribute(object, kTypeAttribute) : "";
}

}  // namespace zarvo::hdf5::internal
