#include <limits>
#include <stdexcept>

#include "core/datatypes/MaterialNumber.h"
#include "tests/TestSupport.h"

using zarvo::MaterialNumber;
using namespace testsupport;

namespace {

// "text|ident" of what make builds, or "class: what" of the standard exception it throws.
template <class F>
std::string outcome(F&& make) {
    try {
        const MaterialNumber number = make();
        return number.toString() + (number.hasIdent() ? "|ident" : "|");
    } catch (const std::exception& e) { return typeid(e).name() + std::string(": ") + e.what(); }
}

const std::string kLength = "St12length_error: Unexpected length of Materialnumber ";
const std::string kInvalid = "St16invalid_argument: Invalid Format of Materialnumber, expect ";
const std::string kInvaild = "St16invalid_argument: Invaild Format of Materialnumber, expect ";
const std::string kNotSupported = "St13runtime_error: not supported - feel free to implement ;)";

}  // namespace

TEST(MaterialNumber, InputsTypesCutFormsAndBytes) {
    const std::pair<const char*, std::string> texts[] = {
        {"1234 5678", "1234 5678|"},
        {"1234 5678 90", "1234 5678 90|ident"},
        {"12345678", kLength + "12345678"},
        {"1234 56789", kLength + "1234 56789"},
        {"12 34 5678", kLength + "12 34 5678"},
        {"", kLength},
        {"123456789", kInvaild + "a blank character: 123456789"},
        {"123 45678", kInvaild + "Format like XXXX XXXX: 123 45678"},
        {"1234 5 78 90", kInvalid + "two blank characters: 1234 5 78 90"},
        {"1234 567 890", kInvalid + "Format like XXXX XXXX XX: 1234 567 890"},
        {"1234-5678",
         "St16invalid_argument: Materialnumber contains invalid characters, make sure only the following "
         "characters are used: 0123456789 "}};  // characters are checked before the format
    for (const auto& [text, expected] : texts)
        EXPECT_EQ(outcome([&] { return MaterialNumber::fromString(text); }), expected);
    const std::pair<std::uint64_t, std::string> numbers[] = {
        {999, kLength + "999"},
        {1000, "0000 1000|"},
        {99999999, "9999 9999|"},
        {100000000, "0100 0000 00|ident"},
        {9999999999, "9999 9999 99|ident"},
        {10000000000, kLength + "10000000000"},
        {std::numeric_limits<std::uint64_t>::max(), kLength + "-1"}};  // taken as signed
    for (const auto& [number, expected] : numbers)
        EXPECT_EQ(outcome([&] { return MaterialNumber(number, MaterialNumber::numeric); }), expected) << number;

    const std::string selection = "St16invalid_argument: Invalid selection of type for your input of MaterialNumber:";
    EXPECT_EQ(outcome([] { return MaterialNumber("1234 5678", MaterialNumber::alphanumeric); }), kNotSupported);
    EXPECT_EQ(outcome([] { return MaterialNumber("abc", MaterialNumber::invalid); }), selection + "abc");
    EXPECT_EQ(outcome([] { return MaterialNumber(42, MaterialNumber::invalid); }), selection + "42");
    const MaterialNumber fromText("junk", MaterialNumber::none), fromInteger(12345678, MaterialNumber::none);
    EXPECT_TRUE(fromText == fromInteger && fromText == MaterialNumber() && fromText.toString(true).empty());
    EXPECT_FALSE(MaterialNumber::fromString("1234 5678") == MaterialNumber(12345678, MaterialNumber::none));

    const MaterialNumber ident = MaterialNumber::fromString("1234 5678 90"), plain(1234, MaterialNumber::numeric);
    EXPECT_TRUE(ident.toString(true) == "1234 5678" && ident.toString(false) == "1234 5678 90");
    EXPECT_TRUE(ident.toInteger(true) == 12345678 && ident.toInteger(false) == 1234567890);
    EXPECT_TRUE(plain.toString(true) == "0000 1234" && plain.toInteger(true) == 1234 && plain.toInteger(false) == 1234);

    const MaterialNumber number = MaterialNumber::fromString("1234 5678 90");
    EXPECT_EQ(recordBytes(number, zarvo::exp::no_swap), hex("0c 00 00 00") + "1234 5678 90" + hex("00"));
    EXPECT_EQ(recordBytes(number, zarvo::exp::swap), hex("00 00 00 0c") + "1234 5678 90" + hex("00"));
    EXPECT_EQ(recordBytes(MaterialNumber(), zarvo::exp::swap), hex("00 00 00 00 02"));
    // size counts every byte read before the text is judged, so a reader of a stream can skip a refused
    // record; a none record drops its stored text.
    const struct {
        std::string bytes, result;
        size_t used;
    } reads[] = {{hex("08 00 00 00") + "12345678" + hex("00"), kLength + "12345678", 13},
                 {hex("09 00 00 00") + "1234 5678" + hex("01"), kNotSupported, 14},
                 {hex("09 00 00 00") + "1234 5678" + hex("02"), "|", 14}};
    for (const auto& read : reads) {
        size_t open = 0, bounded = 0;
        const char* data = read.bytes.data();
        EXPECT_EQ(outcome([&] { return MaterialNumber::deserialize(zarvo::exp::no_swap, data, open); }), read.result);
        EXPECT_EQ(
            outcome([&] { return MaterialNumber::deserialize(zarvo::exp::no_swap, data, read.bytes.size(), bounded); }),
            read.result);
        EXPECT_TRUE(open == read.used && bounded == read.used) << read.result;
    }
}
