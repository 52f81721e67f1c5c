// Built against an installed package: proves headers, libraries and the CMake package fit.
#include <iostream>

#include "zarvo/datatypes.h"

int main() {
    using namespace zarvo::exp;
    const auto value = Variant::fromString("int32", "42");
    size_t size = 0;
    const auto bytes = value->serialize(swap, size);
    const auto back = Variant::deserialize(value->getTypeString(), swap, bytes.get(), size);
    if (back->value<int>() != 42 || size != 4) return 1;
    std::cout << "consumer: " << back->getTypeString() << " " << back->toString() << "\n";
    return 0;
}
