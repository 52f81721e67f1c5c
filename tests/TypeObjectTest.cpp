#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

// A type of the caller's own, given the record members (the open reader only) and registered by name.
struct Reading {
    int channel = 0;
    size_t serialize(Endian endian, char* data) const { return Memory::serializeT(endian, data, channel); }
    static Reading deserialize(Endian endian, const char* data, size_t& size) {
        return {Memory::deserializeT<int>(endian, data, size)};
    }
    size_t sizeofType() const { return 4; }
    std::string toString() const { return "#" + std::to_string(channel); }
    static Reading fromString(const std::string& text) { return {intern::readByStreamRule<int>(text.substr(1))}; }
    bool operator==(const Reading& other) const { return channel == other.channel; }
};

struct Unregistered {};
struct Intruder {};
struct Renamed {};

const std::string kUnknown = " (Type registered with ZARVO_REGISTER_METATYPE(...) ?)";

}  // namespace

ZARVO_REGISTER_METATYPE(Reading, "testreading");
ZARVO_REGISTER_METATYPE(Renamed, "testrenamed");

// Each entry is found by name and by type; those with a text form travel by name as bytes.
TEST(TypeObject, EveryBuiltInNameFindsItsEntryAndRoundTrips) {
    std::vector<std::string> names{"void",   "string",   "cvmat",     "cvsize",    "cvpoint",
                                   "cvrect", "veccvmat", "listcvmat", "vecstring", "liststring"};
    for (const char* element :
         {"bool", "char", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64", "float", "double"})
        names.insert(names.end(), {element, std::string("vec") + element, std::string("list") + element});
    for (const std::string& name : names) {
        const TypeObject& entry = TypeObject::find(name);
        EXPECT_TRUE(entry.getTypeString() == name && &TypeObject::find(entry.getTypeInfo()) == &entry) << name;
        if (name == "void" || name.find("cv") != std::string::npos) continue;
        const auto value = Variant::fromString(name, name.find_first_of("vl") == 0 ? "0x31;1;;" : "0x31");
        for (Endian endian : {swap, no_swap}) {
            size_t size = 0;
            const std::string form = bytesOf(*value, endian);
            EXPECT_TRUE(Variant::deserialize(name, endian, form.data(), size)->equal_imp(value) && size == form.size())
                << name;
        }
    }
    EXPECT_TRUE(getTypeFromString("int8") == typeid(signed char) && getTypeFromString("void") == typeid(void));
    EXPECT_STREQ(getStringFromType(typeid(const float)), "float");
}

TEST(TypeObject, MissesRepeatsAndCallerTypes) {
    EXPECT_TRUE(!TypeObject::findP("Int32") && !TypeObject::findP("int32 ") &&
                !TypeObject::findP(typeid(Unregistered)));
    EXPECT_EQ(failureOf([] { TypeObject::find("Int32"); }),
              "Unknown type string: Int32" + kUnknown + "|zarvo::exp::TypeObject::find");
    EXPECT_EQ(messageOf([] { getStringFromType(typeid(char*)); }),
              std::string("Unknown type id: ") + typeid(char*).name());
    size_t size = 17;
    EXPECT_EQ(messageOf([&] { Variant::deserialize("nosuch", no_swap, nullptr, size); }),
              "Unknown type string: nosuch" + kUnknown);
    EXPECT_TRUE(!Variant::fromString("void", "x") && !Variant::deserialize("void", swap, "abc", size) && size == 17u);

    testing::internal::CaptureStdout();
    EXPECT_TRUE(TypeObject::create<int>("int32") == nullptr && TypeObject::create<int>("int32") == nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "WARNING: register type twice: int32\nWARNING: register type twice: int32\n");
    EXPECT_EQ(messageOf([] { TypeObject::create<Renamed>("testrenamed2"); }),
              "Error: tried to register a type twice with diffrent type string! TypeName = testrenamed2");
    EXPECT_EQ(TypeObject::findP("testrenamed2"), nullptr);
    EXPECT_EQ(failureOf([] { TypeObject::create<Intruder>("int32"); }),
              "Type maps are inconsistent!|zarvo::exp::TypeObject::create");
    EXPECT_STREQ(TypeObject::find(typeid(Intruder)).getTypeString(), "int32");
    EXPECT_EQ(TypeObject::find("int32").getTypeInfo(), typeid(int));

    const auto value = Variant::fromString("testreading", "#-3");
    EXPECT_EQ(value->getTypeString() + " " + value->toString(), "testreading #-3");
    EXPECT_EQ(bytesOf(*value, swap) + bytesOf(*value, no_swap), hex("ff ff ff fd fd ff ff ff"));
    size_t used = 0;
    EXPECT_EQ(Variant::deserialize("testreading", swap, hex("ff ff ff fd").data(), used)->value<Reading>().channel, -3);
    // With only the open reader, the record cannot be kept inside a bounded input.
    EXPECT_EQ(messageOf([&] { Variant::deserialize("testreading", no_swap, "abcd", 4, used); }),
              std::string("type '") + typeid(Reading).name() + "' has no bounded byte reader");
}

// A name is looked up by its bytes alone, wherever they lie and whatever follows them.
TEST(TypeObject, NamesAreFoundInPlace) {
    const std::string text = "vecint32;float";
    EXPECT_EQ(TypeObject::findP(std::string_view(text).substr(0, 8)), &TypeObject::find("vecint32"));
    EXPECT_EQ(TypeObject::findP(std::string_view(text).substr(3, 5)), &TypeObject::find("int32"));
    EXPECT_EQ(&TypeObject::find(std::string_view(text).substr(9)), &TypeObject::find(typeid(float)));
    EXPECT_EQ(TypeObject::findP(std::string_view(text).substr(0, 7)), nullptr);
    EXPECT_EQ(failureOf([&] { TypeObject::find(std::string_view(text).substr(0, 3)); }),
              "Unknown type string: vec" + kUnknown + "|zarvo::exp::TypeObject::find");
}
