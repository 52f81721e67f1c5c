// A storage with groups has a byte form only once its holder type is registered, as
// an application does here. Built as a test program of its own, so that the other
// tests see the library's registry as it ships.
#include "core/datatypes/DataStorage.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using Storage = DataStorage<std::string>;

ZARVO_REGISTER_METATYPE(Storage, "storage");

namespace {

// Big-endian forms, read with swap.
std::string entry(const std::string& key, const std::string& type, const std::string& value) {
    auto text = [](const std::string& s) { return std::string("\0\0\0", 3) + char(s.size()) + s; };
    return text(key) + text(type) + value;
}

std::string storageOf(int count, const std::string& entries) {
    return std::string("\0\0\0\0\0\0\0", 7) + char(count) + entries;
}

}  // namespace

TEST(StorageRoundTrip, NestedGroupsTravelInBothByteOrders) {
    Storage s;
    s.insert("camera.serial", hold(4711));
    s.insert("camera.lens.focus", hold(std::vector<float>{1.5f, 2.5f}));
    s.insert("camera.empty.x", hold(std::string("y")));
    s.erase("camera.empty.x");
    s.insert("name", hold(std::string("probe")));
    for (Endian endian : {no_swap, swap}) {
        const std::string bytes = recordBytes(s, endian);
        const Storage back = readBack<Storage>(bytes, endian);
        EXPECT_TRUE(back == s && back.get("camera.empty")->getTypeString() == "storage");
        for (size_t cut = 0; cut < bytes.size(); ++cut) {
            size_t size = 0;
            EXPECT_THROW(Storage::deserialize(endian, std::string(bytes, 0, cut).data(), cut, size), zarvo::Exception);
        }
    }
}

TEST(StorageRoundTrip, MalformedEntriesYieldNoStorage) {
    const std::string one("\0\0\0\1", 4);
    std::string deep = storageOf(0, "");
    for (int level = 0; level < 65; ++level) deep = storageOf(1, entry("g", "storage", deep));
    const std::pair<std::string, std::string> cases[] = {
        {storageOf(2, entry("a", "int32", one) + entry("a", "int32", one)), "Storage key appears twice: a"},
        {storageOf(1, entry("a.b", "int32", one)), "Storage key holds a '.': a.b"},
        {storageOf(1, entry("a", "void", "")), "Storage entry holds no value: a (type void)"},
        {deep, "Storage groups nested deeper than 64 levels"},
        {std::string(8, '\xff'),
         "Input ends before the value does: 18446744073709551615 elements of at least 8 bytes announced at offset 8, 0 bytes left"}};
    for (const auto& [bytes, message] : cases) {
        size_t size = 0;
        EXPECT_EQ(messageOf([&] { Storage::deserialize(swap, bytes.data(), bytes.size(), size); }), message);
    }
}
