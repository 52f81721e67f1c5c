#include <algorithm>

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

// An entry written as callers wrote them before the bounded reader: the three historic operations only.
struct LegacyTag {};
struct LegacyEntry : TypeObject {
    LegacyEntry() : TypeObject("testlegacy") {}
    const std::type_info& getTypeInfo() const override { return typeid(LegacyTag); }
    std::shared_ptr<Variant> deserialize(Endian, const char* data, size_t& size) const override {
        size = 1;
        return hold(int(data[0]));
    }
    std::shared_ptr<Variant> fromString(const std::string& text) const override { return hold(int(text.size())); }
    static void add() {
        auto* entry = new LegacyEntry;  // the registry owns its entries
        m_pIdTypeObjects->emplace(typeid(LegacyTag), entry);
        m_pStringTypeObjects->emplace(entry->getTypeString(), entry);
    }
};

template <class T>
struct Tag {
    using type = T;
};

struct Unregistered {};
struct Intruder {};
struct Renamed {};

const std::string kUnknown = " (Type registered with ZARVO_REGISTER_METATYPE(...) ?)";

}  // namespace

ZARVO_REGISTER_METATYPE(Reading, "testreading");
ZARVO_REGISTER_METATYPE(Renamed, "testrenamed");

// The built-in types in their order of registration, each with its readable C++ name.
const std::pair<std::string, std::string> kBuiltins[] = {{"bool", "bool"},
                                                         {"char", "char"},
                                                         {"int8", "signed char"},
                                                         {"uint8", "unsigned char"},
                                                         {"int16", "short"},
                                                         {"uint16", "unsigned short"},
                                                         {"int32", "int"},
                                                         {"uint32", "unsigned int"},
                                                         {"void", "void"},
                                                         {"vecbool", "std::vector<bool>"},
                                                         {"vecchar", "std::vector<char>"},
                                                         {"vecint8", "std::vector<signed char>"},
                                                         {"vecuint8", "std::vector<unsigned char>"},
                                                         {"vecint16", "std::vector<short>"},
                                                         {"vecuint16", "std::vector<unsigned short>"},
                                                         {"vecint32", "std::vector<int>"},
                                                         {"vecuint32", "std::vector<unsigned int>"},
                                                         {"listbool", "std::list<bool>"},
                                                         {"listchar", "std::list<char>"},
                                                         {"listint8", "std::list<signed char>"},
                                                         {"listuint8", "std::list<unsigned char>"},
                                                         {"listint16", "std::list<short>"},
                                                         {"listuint16", "std::list<unsigned short>"},
                                                         {"listint32", "std::list<int>"},
                                                         {"listuint32", "std::list<unsigned int>"},
                                                         {"int64", "long"},
                                                         {"uint64", "unsigned long"},
                                                         {"vecint64", "std::vector<long>"},
                                                         {"vecuint64", "std::vector<unsigned long>"},
                                                         {"listint64", "std::list<long>"},
                                                         {"listuint64", "std::list<unsigned long>"},
                                                         {"float", "float"},
                                                         {"vecfloat", "std::vector<float>"},
                                                         {"listfloat", "std::list<float>"},
                                                         {"double", "double"},
                                                         {"vecdouble", "std::vector<double>"},
                                                         {"listdouble", "std::list<double>"},
                                                         {"string", "std::string"},
                                                         {"vecstring", "std::vector<std::string>"},
                                                         {"liststring", "std::list<std::string>"},
                                                         {"cvmat", "cv::Mat"},
                                                         {"cvsize", "cv::Size_<int>"},
                                                         {"cvpoint", "cv::Point_<int>"},
                                                         {"cvrect", "cv::Rect_<int>"},
                                                         {"veccvmat", "std::vector<cv::Mat>"},
                                                         {"listcvmat", "std::list<cv::Mat>"}};

// Each entry is found by name and by type, is named readably in messages, and those with
// a text form travel by name as bytes.
TEST(TypeObject, EveryBuiltInNameFindsItsEntryAndRoundTrips) {
    for (const auto& [name, readable] : kBuiltins) {
        const TypeObject& entry = TypeObject::find(name);
        EXPECT_TRUE(entry.getTypeString() == name && &TypeObject::find(entry.getTypeInfo()) == &entry) << name;
        EXPECT_EQ(zarvo::Exception::typeName(entry.getTypeInfo()), readable);
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
    EXPECT_EQ(messageOf([] { getStringFromType(typeid(char*)); }), "Unknown type id: char*");
    size_t size = 17;
    EXPECT_EQ(messageOf([&] { Variant::deserialize("nosuch", no_swap, nullptr, size); }),
              "Unknown type string: nosuch" + kUnknown);
    EXPECT_TRUE(!Variant::fromString("void", "x") && !Variant::deserialize("void", swap, "abc", size) &&
                !Variant::deserialize("void", swap, "abc", 3, size) && size == 17u);

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
              "type '(anonymous namespace)::Reading' has no bounded byte reader");
}

TEST(TypeObject, CallerEntryWithoutBoundedReader) {
    LegacyEntry::add();
    size_t size = 0;
    EXPECT_TRUE(Variant::deserialize("testlegacy", no_swap, "\x07", size)->toInt32() == 7 && size == 1u);
    EXPECT_EQ(Variant::fromString("testlegacy", "abc")->toInt32(), 3);
    EXPECT_EQ(failureOf([&] { Variant::deserialize("testlegacy", no_swap, "\x07", 1, size); }),
              "Registry entry 'testlegacy' ((anonymous namespace)::LegacyTag) has no bounded byte reader"
              "|zarvo::exp::TypeObject::deserialize");
}

// The names come in registration order: the built-in types in their fixed order, then
// this program's own, and a failed or repeated registration adds nothing.
TEST(TypeObject, TypeStringsFollowRegistrationOrder) {
    const std::vector<std::string> names = TypeObject::typeStrings();
    ASSERT_GE(names.size(), 48u);
    for (size_t i = 0; i < std::size(kBuiltins); ++i) EXPECT_EQ(names[i], kBuiltins[i].first);
    EXPECT_EQ(std::count(names.begin(), names.end(), "int32"), 1);
    const auto reading = std::find(names.begin(), names.end(), "testreading");
    ASSERT_NE(reading, names.end());
    EXPECT_EQ(*(reading + 1), "testrenamed");
    EXPECT_EQ(std::count(names.begin(), names.end(), "testrenamed2"), 0);
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

// Every built-in value reaches a visitor in its own type and is found by getIf; a const
// holder reads as its plain type; any other type reaches the visitor as the variant.
TEST(TypeObject, VisitValueAndGetIf) {
    size_t visited = 0;
    const auto check = [&visited](auto tag, std::shared_ptr<Variant> value) {
        using T = typename decltype(tag)::type;
        if (!value) value = hold(T{});
        const bool same = visitValue(*value, [&](const auto& held) {
            return std::is_same_v<std::decay_t<decltype(held)>, T> &&
                   static_cast<const void*>(&held) == value->getIf<T>();
        });
        visited += same;
        EXPECT_TRUE(same && value->getIf<const T>() != nullptr && value->getIf<Reading>() == nullptr)
            << zarvo::Exception::typeName(typeid(T));
    };
#define ZARVO_TEST_VISIT(T, name) check(Tag<T>{}, nullptr);
    ZARVO_BUILTIN_TYPES(ZARVO_TEST_VISIT, ZARVO_BUILTIN_SKIP)
#undef ZARVO_TEST_VISIT
    EXPECT_EQ(visited, std::size(kBuiltins) - 1);
    check(Tag<float>{}, std::make_shared<Variant_<const float>>(1.5f));
    const auto reading = hold(Reading{4});
    EXPECT_EQ(visitValue(*reading, [&](const auto& held) { return static_cast<const void*>(&held); }), reading.get());
    EXPECT_EQ(reading->getIf<Reading>()->channel, 4);
    EXPECT_EQ(reading->getIf<int>(), nullptr);
}
