#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "tests/TestSupport.h"

using zarvo::exp::Version;
using zarvo::exp::VersionExtended;
using namespace testsupport;

// The library registers no record; a caller may, and moves it by name.
ZARVO_REGISTER_METATYPE(zarvo::exp::Version, "version");

namespace {

// "text" of what parse makes of text, or "!message|function|source" of its failure.
template <class V>
std::string parsed(const std::string& text) {
    const zarvo::Exception error = errorOf([&] { V::fromString(text); });
    if (error.where().empty()) return V::fromString(text).toString();
    const bool fromSource = error.where().find(std::is_same_v<V, VersionExtended> ? "core/datatypes/VersionExtended.cpp: "
                                                                                   : "core/datatypes/Version.cpp: ") !=
                            std::string::npos;
    return "!" + error.message() + "|" + functionOf(error) + (fromSource ? "" : "|elsewhere");
}

}  // namespace

TEST(Version, TextFormsOfBothGenerations) {
    EXPECT_EQ(Version().toString() + " " + Version(1, 2, 3).toString() + " " + Version(123, 200, 7).toString(),
              "0.00.00 1.02.03 123.200.07");
    EXPECT_EQ(VersionExtended(1, 2, 3, 4).toString() + " " + VersionExtended(1, 20, 3, 0).toString() + " " +
                  VersionExtended().toString(),
              "1.2.3.4 1.20.3 0.0.0");
}

TEST(Version, ParsersDifferInWhatTheyAccept) {
    const std::string bad = "!Invalid string, cannot convert to version number !|zarvo::exp::Version::fromString";
    const std::string refused = "!Version number invalid or empty !|zarvo::exp::VersionExtended::fromString";
    // Text, what Version makes of it, what VersionExtended makes of it (printed).
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"1", bad, "1.0.0"},          {"", bad, refused},
        {"1.2", "1.02.00", "1.2.0"},  {"1.2.3.4", "1.02.03", "1.2.3.4"},
        {"1.02.03", "1.02.03", "1.2.3"}, {"a.b", "0.00.00", refused},
        {"x1.2", "0.02.00", refused}, {" 7. +8.9z", "7.08.09", refused},
        {"-1.2", "4294967295.02.00", refused}, {"...", "0.00.00", "0.0.0"},
        {"1.2.3.4.", "1.02.03", refused}, {"1..3", "1.00.03", "1.0.3"},
        {"1.10.0", "1.10.00", "1.10.0"}};
    for (const auto& [text, version, extended] : cases) {
        EXPECT_EQ(parsed<Version>(text), version) << text;
        EXPECT_EQ(parsed<VersionExtended>(text), extended) << text;
    }
    EXPECT_EQ(VersionExtended::fromString("1..3.9"), VersionExtended(1, 0, 3, 9));
}

TEST(Version, ComparisonsAreNumericAndFieldByField) {
    const Version order[] = {Version(0, 0, 0), Version(0, 0, 9), Version(1, 9, 0), Version(1, 10, 0), Version(2, 0, 0)};
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j) {
            const Version &a = order[i], &b = order[j];
            EXPECT_TRUE((a == b) == (i == j) && (a != b) == (i != j) && (a < b) == (i < j) && (a <= b) == (i <= j) &&
                        (a > b) == (i > j) && (a >= b) == (i >= j))
                << i << " " << j;
        }
    const VersionExtended zero(1, 2, 3, 0), one(1, 2, 3, 1);
    EXPECT_TRUE(zero != one && zero < one && one >= zero && !(one <= zero));

    // > asks the right operand's virtual <: here a reversed one.
    struct Reversed : Version {
        using Version::Version;
        bool operator<(const Version& other) const override { return other.getMajor() < getMajor(); }
    };
    const Version two(2);
    const Reversed three(3);
    EXPECT_TRUE(two < three && two > three && two >= three && !(two == three));
}

TEST(Version, ByteFormsInBothEndians) {
    const Version version(1, 2, 0x01020304);
    EXPECT_EQ(recordBytes(version, zarvo::exp::no_swap), hex("01 00 00 00 02 00 00 00 04 03 02 01"));
    EXPECT_EQ(recordBytes(version, zarvo::exp::swap), hex("00 00 00 01 00 00 00 02 01 02 03 04"));
    const VersionExtended extended(1, 2, 3, 0xA0B0C0D0);
    EXPECT_EQ(recordBytes(extended, zarvo::exp::no_swap), hex("01 00 00 00 02 00 00 00 03 00 00 00 D0 C0 B0 A0"));
    EXPECT_EQ(recordBytes(extended, zarvo::exp::swap), hex("00 00 00 01 00 00 00 02 00 00 00 03 A0 B0 C0 D0"));
}

TEST(Version, ACallerRegisteredVersionTravelsAsAVariant) {
    const auto value = zarvo::exp::Variant::fromString("version", "1.2.3");
    EXPECT_EQ(value->toString(), "1.02.03");
    size_t size = 0;
    const auto bytes = value->serialize(zarvo::exp::swap, size);
    const auto back = zarvo::exp::Variant::deserialize("version", zarvo::exp::swap, bytes.get(), size);
    EXPECT_TRUE(size == 12 && back->equal_imp(value) && back->value<Version>() == Version(1, 2, 3));
}
