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
         "Input ends before the value does: 18446744073709551615 elements of at least 8 bytes announced at offset 8, 0 "
         "bytes left"}};
    for (const auto& [bytes, message] : cases) {
        size_t size = 0;
        EXPECT_EQ(messageOf([&] { Storage::deserialize(swap, bytes.data(), bytes.size(), size); }), message);
    }
}

// Keys in ascending order are appended, any other order is searched: both read the
// same storage, and a repeat is found wherever it stands.
TEST(StorageRoundTrip, KeysInAnyOrderReadAlikeAndRepeatsAreFoundAnywhere) {
    const std::string one("\0\0\0\1", 4), two("\0\0\0\2", 4);
    const std::string a = entry("a", "int32", one), b = entry("b", "int32", two),
                      c = entry("c", "float", std::string("\x3f\x80\0\0", 4));
    for (const std::string& entries : {a + b + c, c + b + a, b + a + c, a + c + b}) {
        size_t size = 0;
        const Storage back = Storage::deserialize(swap, storageOf(3, entries).data(), 8 + entries.size(), size);
        std::string seen;
        for (const auto& [key, value] : back)
            seen += key + "=" + value->getTypeString() + ":" + value->toString() + " ";
        EXPECT_EQ(seen, "a=int32:1 b=int32:2 c=float:1 ");
        EXPECT_EQ(size, 8 + entries.size());
    }
    const std::pair<std::string, std::string> repeats[] = {
        {b + a + b, "b"}, {a + b + a, "a"}, {b + c + b, "b"}, {a + b + b, "b"}};
    for (const auto& [entries, key] : repeats) {
        size_t size = 0;
        const std::string bytes = storageOf(3, entries);
        EXPECT_EQ(messageOf([&] { Storage::deserialize(swap, bytes.data(), bytes.size(), size); }),
                  "Storage key appears twice: " + key);
    }
}

TEST(StorageRoundTrip, RegistrationAfterTheProgramsOwnIsHarmless) {
    const TypeObject* entry = TypeObject::findP("storage");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(registerStorageType() == entry && registerStorageType() == entry && entry != nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // no warning of a repeated registration
}
