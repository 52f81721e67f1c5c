// Variant::parse: the strict reader of the registry, beside the lenient fromString,
// for the library's types and for types a caller registers ("version" is registered
// by VersionTest.cpp).
#include <istream>

#include "core/datatypes/Version.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;

namespace {

const std::string kInt32 = "a decimal whole number from -2147483648 to 2147483647";

// A caller's type read through its stream operator.
struct Celsius {
    float degrees = 0;
    size_t serialize(Endian endian, char* data) const { return Memory::serializeT(endian, data, degrees); }
    static Celsius deserialize(Endian endian, const char* data, size_t& size) {
        return {Memory::deserializeT<float>(endian, data, size)};
    }
    size_t sizeofType() const { return 4; }
    bool operator==(const Celsius& other) const { return degrees == other.degrees; }
};
std::istream& operator>>(std::istream& in, Celsius& value) { return in >> value.degrees; }
std::ostream& operator<<(std::ostream& out, const Celsius& value) { return out << value.degrees; }

// An entry derived by hand that knows only the readers the registry always had.
class LegacyEntry : public TypeObject {
public:
    LegacyEntry() : TypeObject("legacy") {}
    const std::type_info& getTypeInfo() const override { return typeid(LegacyEntry); }
    std::shared_ptr<Variant> deserialize(Endian, const char*, size_t&) const override { return {}; }
    std::shared_ptr<Variant> fromString(const std::string& text) const override {
        return std::make_shared<Variant_<std::string>>("lenient " + text);
    }
    std::shared_ptr<Variant> deserialize(Memory::Cursor&) const override { return {}; }
};

}  // namespace

ZARVO_REGISTER_METATYPE(const MarkedFloat, "markedfloat");
ZARVO_REGISTER_METATYPE(Celsius, "celsius");

// Each accepted text gives a value whose toString is the second column.
TEST(StrictText, AcceptsExactlyOneValue) {
    const std::tuple<const char*, std::string, std::string> table[] = {
        {"bool", "1", "1"},
        {"bool", "0", "0"},
        {"char", ";", ";"},
        {"int8", "-128", "-128"},
        {"uint8", "255", "255"},
        {"int16", "-32768", "-32768"},
        {"uint32", "4294967295", "4294967295"},
        {"int64", "-9223372036854775808", "-9223372036854775808"},
        {"uint64", "18446744073709551615", "18446744073709551615"},
        {"float", "1.5", "1.5"},
        {"float", "-inf", "-inf"},
        {"double", "1e-300", "1e-300"},
        {"string", "", ""},
        {"string", " a;b\n", " a;b\n"},
        {"vecint32", "1;-2;3;", "1;-2;3;"},
        {"listbool", "", ""},
        {"vecstring", "a;;b c;", "a;;b c;"},
        {"listdouble", "0.1;nan;", "0.1;nan;"},
        {"cvpoint", "12:-3", "12:-3"},
        {"veccvmat", "", ""}};
    for (const auto& [name, text, written] : table) {
        const auto value = Variant::parse(name, text);
        EXPECT_TRUE(value->getTypeString() == name && value->toString() == written) << name << " " << text;
    }
    EXPECT_EQ(Variant::parse("void", ""), nullptr);
    EXPECT_EQ(Variant::parse("uint8", "200")->value<unsigned char>(), 200);
}

// Each refused text throws one message naming the registered name, the C++ type and the text.
TEST(StrictText, RefusalsNameTypeAndText) {
    const std::string longText = std::string(100, '7') + ";";
    const std::pair<const char*, std::string> table[] = {
        {"uint8", "300"},       {"int32", "abc"},      {"int32", "12x"},        {"int32", " 12"},
        {"int32", ""},          {"int32", "0x1F"},     {"uint16", "-1"},        {"bool", "true"},
        {"bool", "2"},          {"char", "ab"},        {"float", "1e40"},       {"double", "1.5 "},
        {"vecint32", "1;2;3"},  {"vecint32", "1;;"},   {"listbool", "1;true;"}, {"cvpoint", "12:"},
        {"cvmat", ""},          {"cvrect", "1:2"},     {"veccvmat", "x;"},      {"void", "x"},
        {"int32", "\x1b[2J\n"}, {"vecint32", longText}};
    const std::string messages[] = {
        "Can not read uint8 (unsigned char) from \"300\": expected a decimal whole number from 0 to 255",
        "Can not read int32 (int) from \"abc\": expected " + kInt32,
        "Can not read int32 (int) from \"12x\": expected " + kInt32,
        "Can not read int32 (int) from \" 12\": expected " + kInt32,
        "Can not read int32 (int) from \"\": expected " + kInt32,
        "Can not read int32 (int) from \"0x1F\": expected " + kInt32,
        "Can not read uint16 (unsigned short) from \"-1\": expected a decimal whole number from 0 to 65535",
        "Can not read bool from \"true\": expected 0 or 1",
        "Can not read bool from \"2\": expected 0 or 1",
        "Can not read char from \"ab\": expected exactly one character",
        "Can not read float from \"1e40\": expected a decimal number in the range of float",
        "Can not read double from \"1.5 \": expected a decimal number in the range of double",
        "Can not read vecint32 (std::vector<int>) from \"1;2;3\": expected elements each followed by \";\" (an "
        "element: " +
            kInt32 + ")",
        "Can not read vecint32 (std::vector<int>) from \"1;;\": expected elements each followed by \";\" (an "
        "element: " +
            kInt32 + ")",
        "Can not read listbool (std::list<bool>) from \"1;true;\": expected elements each followed by \";\" (an "
        "element: 0 or 1)",
        "Can not read cvpoint (cv::Point_<int>) from \"12:\": expected x:y, two whole numbers in the range of int",
        "Can not read cvmat (cv::Mat) from \"\": the type has no text form",
        "Can not read cvrect (cv::Rect_<int>) from \"1:2\": the type has no text form",
        "Can not read veccvmat (std::vector<cv::Mat>) from \"x;\": expected the empty text, since its elements have "
        "no text form",
        "Can not read void from \"x\": expected the empty text, since void holds no value",
        "Can not read int32 (int) from \"\\x1b[2J\\n\": expected " + kInt32,
        "Can not read vecint32 (std::vector<int>) from \"" + std::string(64, '7') +
            "\"... (101 bytes): expected elements each followed by \";\" (an element: " + kInt32 + ")"};
    for (size_t i = 0; i < std::size(table); ++i)
        EXPECT_EQ(testsupport::messageOf([&] { Variant::parse(table[i].first, table[i].second); }), messages[i])
            << table[i].first << " " << table[i].second;
    // The lenient reader keeps its stream rule.
    EXPECT_EQ(Variant::fromString("uint8", "300")->toString(), "44");
}

// MarkedFloat keeps its mark; a record with fromString takes exactly what its toString
// writes; a stream operator must read the whole text; a hand-derived entry reads leniently.
TEST(StrictText, CallersTypes) {
    const std::pair<const char*, const char*> accepted[] = {{"markedfloat", "1.5 (Overrange)"},
                                                            {"markedfloat", "-2 (Underrange)"},
                                                            {"markedfloat", "nan (Empty)"},
                                                            {"markedfloat", "7 (OtherMark)"},
                                                            {"markedfloat", "0.25"},
                                                            {"version", "1.02.03"},
                                                            {"celsius", "21.5"}};
    for (const auto& [name, text] : accepted) EXPECT_EQ(Variant::parse(name, text)->toString(), text) << text;
    EXPECT_TRUE(Variant::parse("markedfloat", "1.5 (Overrange)")->value<const MarkedFloat>().isOverrange());
    EXPECT_EQ(LegacyEntry().parse("x")->toString(), "lenient x");

    const std::string mark = "Can not read markedfloat (zarvo::exp::MarkedFloat) from ";
    const std::string marks =
        "expected a number, alone or followed by one of (Underrange), (Overrange), "
        "(OtherMark), (Invalid), or nan (Empty)";
    const std::string version = "Can not read version (zarvo::exp::Version) from ";
    const std::string celsius = "Can not read celsius ((anonymous namespace)::Celsius) from ";
    const std::string stream = "expected what its stream operator reads, to the end of the text";
    const std::tuple<const char*, const char*, std::string> refused[] = {
        {"markedfloat", "1.5 (Bogus)", mark + "\"1.5 (Bogus)\": " + marks},
        {"markedfloat", "2 (Empty)", mark + "\"2 (Empty)\": " + marks},
        {"markedfloat", "1.5  (Overrange)", mark + "\"1.5  (Overrange)\": " + marks},
        {"version", "1.2.3", version + "\"1.2.3\": expected the text its toString writes"},
        {"version", "abc",
         version +
             "\"abc\": expected the text its toString writes (Invalid string, cannot convert to version number !)"},
        {"celsius", "21.5 ", celsius + "\"21.5 \": " + stream},
        {"celsius", "warm", celsius + "\"warm\": " + stream}};
    for (const auto& [name, text, message] : refused)
        EXPECT_EQ(testsupport::messageOf([&] { Variant::parse(name, text); }), message);
}
