// Writes a storage to the file named by the first argument, in both byte orders one
// behind the other (no_swap first), for the Python tests to read back.
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"

using namespace zarvo::exp;

ZARVO_REGISTER_METATYPE(DataStorage<std::string>, "storage");

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FILE\n";
        return 2;
    }
    DataStorage<std::string> storage;
    storage.insert("count", std::make_shared<Variant_<int>>(-7));
    storage.insert("name", std::make_shared<Variant_<std::string>>("probe A"));
    storage.insert("gains", std::make_shared<Variant_<std::vector<float>>>(std::vector<float>{0.5f, -2.0f, 8.25f}));
    storage.insert("camera.serial", std::make_shared<Variant_<std::uint64_t>>(4711u));
    storage.insert("camera.lens.focal", std::make_shared<Variant_<double>>(12.5));
    std::ofstream out(argv[1], std::ios::binary);
    for (Endian endian : {no_swap, swap}) {
        std::vector<char> bytes(storage.sizeofType());
        storage.serialize(endian, bytes.data());
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    return out ? 0 : 1;
}
