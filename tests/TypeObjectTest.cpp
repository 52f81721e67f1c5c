#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "core/datatypes/TypeObject.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

// A type of the caller's own, given the record members and registered by name.
struct Reading {
    int channel = 0;
    double value = 0;

    size_t serialize(Endian endian, char* data) const {
        size_t used = Memory::serializeT(endian, data, channel);
        return used + Memory::serializeT(endian, data + used, value);
    }
    static Reading deserialize(Endian endian, const char* data, size_t& size) {
        Reading reading;
        size_t used = 0;
        reading.channel = Memory::deserializeT<int>(endian, data, used);
        reading.value = Memory::deserializeT<double>(endian, data + used, size);
        size += used;
        return reading;
    }
    size_t sizeofType() const { return 12; }
    std::string toString() const { return std::to_string(channel) + "@" + intern::toStringTimpl(value); }
    static Reading fromString(const std::string& text) {
        const size_t at = text.find('@');
        return {intern::readByStreamRule<int>(text.substr(0, at)), intern::readByStreamRule<double>(text.substr(at + 1))};
    }
    bool operator==(const Reading& other) const { return channel == other.channel && value == other.value; }
};

struct Unregistered {};
struct Intruder {};
struct Renamed {};

}  // namespace

ZARVO_REGISTER_METATYPE(Reading, "testreading");
ZARVO_REGISTER_METATYPE(Renamed, "testrenamed");

TEST(TypeObject, EveryBuiltInNameFindsItsEntryBothWays) {
    std::vector<std::string> names{"void", "string", "cvmat", "cvsize", "cvpoint", "cvrect", "veccvmat", "listcvmat"};
    for (const char* element : {"bool", "char", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64",
                                "uint64", "float", "double"})
        names.insert(names.end(), {element, std::string("vec") + element, std::string("list") + element});
    names.insert(names.end(), {"vecstring", "liststring"});
    ASSERT_EQ(names.size(), 46u);
    for (const std::string& name : names) {
        const TypeObject& entry = TypeObject::find(name);
        EXPECT_EQ(entry.getTypeString(), name);
        EXPECT_EQ(&TypeObject::find(entry.getTypeInfo()), &entry) << name;
        EXPECT_EQ(getTypeFromString(name), entry.getTypeInfo());
    }
    EXPECT_EQ(getTypeFromString("int8"), typeid(signed char));
    EXPECT_EQ(getTypeFromString("uint64"), typeid(std::uint64_t));
    EXPECT_EQ(getTypeFromString("void"), typeid(void));
    EXPECT_STREQ(getStringFromType(typeid(const float)), "float");
}

TEST(TypeObject, MissesAreExactAndReported) {
    EXPECT_EQ(TypeObject::findP("Int32"), nullptr);
    EXPECT_EQ(TypeObject::findP("int32 "), nullptr);
    EXPECT_EQ(TypeObject::findP(typeid(Unregistered)), nullptr);
    EXPECT_EQ(messageOf([] { TypeObject::find("Int32"); }),
              "Unknown type string: Int32 (Type registered with ZARVO_REGISTER_METATYPE(...) ?)");
    EXPECT_EQ(messageOf([] { getStringFromType(typeid(char*)); }), std::string("Unknown type id: ") + typeid(char*).name());
    try {
        TypeObject::find(typeid(Unregistered));
    } catch (const zarvo::Exception& error) {
        EXPECT_THAT(error.where(), ::testing::EndsWith(": zarvo::exp::TypeObject::find(..)\n"));
    }
    size_t size = 99;
    EXPECT_EQ(messageOf([&] { Variant::deserialize("nosuch", no_swap, nullptr, size); }),
              "Unknown type string: nosuch (Type registered with ZARVO_REGISTER_METATYPE(...) ?)");
}

TEST(TypeObject, VoidEntryGivesNothing) {
    size_t size = 17;
    EXPECT_EQ(Variant::fromString("void", "anything"), nullptr);
    EXPECT_EQ(Variant::deserialize("void", swap, "abc", size), nullptr);
    EXPECT_EQ(size, 17u);
}

TEST(TypeObject, RepeatedRegistrations) {
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(TypeObject::create<int>("int32"), nullptr);
    EXPECT_EQ(TypeObject::create<int>("int32"), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "WARNING: register type twice: int32\nWARNING: register type twice: int32\n");
    EXPECT_EQ(TypeObject::find("int32").getTypeInfo(), typeid(int));

    EXPECT_EQ(messageOf([] { TypeObject::create<Renamed>("testrenamed2"); }),
              "Error: tried to register a type twice with diffrent type string! TypeName = testrenamed2");
    EXPECT_EQ(TypeObject::findP("testrenamed2"), nullptr);

    try {
        TypeObject::create<Intruder>("int32");
        FAIL() << "no throw";
    } catch (const zarvo::Exception& error) {
        EXPECT_EQ(error.message(), "Type maps are inconsistent!");
        EXPECT_THAT(error.where(), ::testing::EndsWith(": zarvo::exp::TypeObject::create(..)\n"));
    }
    EXPECT_STREQ(TypeObject::find(typeid(Intruder)).getTypeString(), "int32");
    EXPECT_EQ(TypeObject::find("int32").getTypeInfo(), typeid(int));
}

TEST(TypeObject, CallerTypeTravelsByName) {
    const auto value = Variant::fromString("testreading", "3@-1.25");
    EXPECT_EQ(value->getTypeString(), "testreading");
    EXPECT_EQ(value->toString(), "3@-1.25");
    for (Endian endian : {swap, no_swap}) {
        size_t size = 0;
        const auto bytes = value->serialize(endian, size);
        ASSERT_EQ(size, 12u);
        size_t used = 0;
        const auto back = Variant::deserialize("testreading", endian, bytes.get(), used);
        EXPECT_EQ(used, 12u);
        EXPECT_TRUE(back->equal_imp(value));
        EXPECT_EQ(back->value<Reading>().value, -1.25);
    }
    // With only the open reader, the record cannot be kept inside a bounded input.
    const std::string zeros(12, '\0');
    size_t size = 0;
    EXPECT_EQ(messageOf([&] { Variant::deserialize("testreading", no_swap, zeros.data(), zeros.size(), size); }),
              std::string("type '") + typeid(Reading).name() + "' has no bounded byte reader");
}
