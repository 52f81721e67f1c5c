#include "core/datatypes/TypeObject.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "tests/TestSupport.h"

using zarvo::exp::Variant;
using zarvo::exp::Version;
using zarvo::exp::VersionExtended;
using namespace testsupport;

// The library registers no record; a caller may, and then moves it by name.
ZARVO_REGISTER_METATYPE(Version, "version");

namespace {

// The text of what V::fromString makes of text, or "!message" of its failure.
template <class V>
std::string parsed(const std::string& text) {
    const zarvo::Exception error = errorOf([&] { V::fromString(text); });
    return error.where().empty() ? V::fromString(text).toString() : "!" + error.message();
}

}  // namespace

TEST(Version, ParsersComparisonsAndByteForms) {
    EXPECT_EQ(Version(123, 200, 7).toString() + " " + VersionExtended(1, 20, 3, 0).toString(), "123.200.07 1.20.3");
    const std::string bad = "!Invalid string, cannot convert to version number !";
    const std::string refused = "!Version number invalid or empty !";
    // Text, what Version makes of it, what VersionExtended makes of it (printed).
    const std::tuple<const char*, std::string, std::string> cases[] = {{"1", bad, "1.0.0"},
                                                                       {"", bad, refused},
                                                                       {"1.2", "1.02.00", "1.2.0"},
                                                                       {"1.2.3.4", "1.02.03", "1.2.3.4"},
                                                                       {"1.02.03", "1.02.03", "1.2.3"},
                                                                       {"a.b", "0.00.00", refused},
                                                                       {"x1.2", "0.02.00", refused},
                                                                       {" 7. +8.9z", "7.08.09", refused},
                                                                       {"-1.2", "4294967295.02.00", refused},
                                                                       {"...", "0.00.00", "0.0.0"},
                                                                       {"1.2.3.4.", "1.02.03", refused},
                                                                       {"1..3", "1.00.03", "1.0.3"}};
    for (const auto& [text, version, extended] : cases) {
        EXPECT_EQ(parsed<Version>(text), version) << text;
        EXPECT_EQ(parsed<VersionExtended>(text), extended) << text;
    }
    EXPECT_EQ(functionOf(errorOf([] { Version::fromString("1"); })), "zarvo::exp::Version::fromString");
    EXPECT_EQ(functionOf(errorOf([] { VersionExtended::fromString(""); })), "zarvo::exp::VersionExtended::fromString");

    const Version order[] = {Version(0, 0, 0), Version(0, 0, 9), Version(1, 9, 0), Version(1, 10, 0), Version(2, 0, 0)};
    for (int i = 0; i < 4; ++i) {
        const Version &a = order[i], &b = order[i + 1], same = a;
        EXPECT_TRUE(a < b && a <= b && b > a && b >= a && a != b && !(a == b) && !(b < a) && !(a >= b)) << i;
        EXPECT_TRUE(a == same && a <= same && a >= same && !(a < same) && !(a > same) && !(a != same)) << i;
    }
    const VersionExtended zero(1, 2, 3, 0), one(1, 2, 3, 1);
    EXPECT_TRUE(zero != one && zero < one && one >= zero && !(one <= zero));

    const Version version(1, 2, 0x01020304);
    EXPECT_EQ(recordBytes(version, zarvo::exp::no_swap), hex("01 00 00 00 02 00 00 00 04 03 02 01"));
    EXPECT_EQ(recordBytes(version, zarvo::exp::swap), hex("00 00 00 01 00 00 00 02 01 02 03 04"));
    const VersionExtended extended(1, 2, 3, 0xA0B0C0D0);
    EXPECT_EQ(recordBytes(extended, zarvo::exp::no_swap), hex("01 00 00 00 02 00 00 00 03 00 00 00 D0 C0 B0 A0"));
    EXPECT_EQ(recordBytes(extended, zarvo::exp::swap), hex("00 00 00 01 00 00 00 02 00 00 00 03 A0 B0 C0 D0"));
}

TEST(Version, CallerRegisteredRecordTravelsByName) {
    const auto value = Variant::fromString("version", "1.2.3");
    size_t size = 0, used = 0;
    const auto bytes = value->serialize(zarvo::exp::swap, size);
    const auto back = Variant::deserialize("version", zarvo::exp::swap, bytes.get(), size, used);
    EXPECT_TRUE(value->toString() == "1.02.03" && used == 12 && back->equal_imp(value));
}
