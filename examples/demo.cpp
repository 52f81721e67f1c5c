// A value's road: text -> typed holder -> bytes in both byte orders -> back through the registry.
#include <cstdio>
#include <iostream>
#include <string>

#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

std::string hex(const char* bytes, size_t size) {
    std::string text;
    char digits[4];
    for (size_t i = 0; i < size; ++i) {
        std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned char>(bytes[i]));
        text += digits;
    }
    return text;
}

void roundTrip(const std::string& typeName, const std::string& text) {
    const std::shared_ptr<Variant> value = Variant::fromString(typeName, text);
    std::cout << typeName << " from \"" << text << "\": type " << value->getTypeString() << ", text "
              << value->toString() << ", toInt32 " << value->toInt32() << ", toDouble " << value->toDouble() << "\n";
    for (Endian endian : {no_swap, swap}) {
        size_t size = 0;
        const std::shared_ptr<char> bytes = value->serialize(endian, size);
        size_t used = 0;
        const std::shared_ptr<Variant> back = Variant::deserialize(value->getTypeString(), endian, bytes.get(), used);
        std::cout << "  " << (endian == swap ? "swap   " : "no_swap") << " bytes " << hex(bytes.get(), size)
                  << "-> " << back->toString() << " (" << used << " bytes read, equal: " << std::boolalpha
                  << back->equal_imp(value) << ")\n";
    }
}

}  // namespace

int main() {
    roundTrip("int32", "258");
    roundTrip("double", "-2.5");
    roundTrip("uint16", "0x1F");
    roundTrip("int8", "-3");
    try {
        Variant::fromString("Int32", "1");
    } catch (const zarvo::Exception& error) {
        std::cout << "unknown name: " << error.message() << "\n";
    }
    return 0;
}
