#include <cmath>
#include <iomanip>

#include "core/datatypes/MarkedFloat.h"
#include "tests/TestSupport.h"

using M = zarvo::exp::MarkedFloat;
using testsupport::wordOf;

namespace {

template <class T = M>
T of(std::uint32_t bits) {
    T value;
    std::memcpy(static_cast<void*>(&value), &bits, 4);
    return value;
}
M mark(float value, std::uint32_t mark) { return M(value, M::MarkedFloatValidity(mark)); }
// The word the mark rule gives for a raw result: the mark written, or bit 0 cleared if valid.
std::uint32_t marked(float raw, std::uint32_t mark) { return mark ? (wordOf(raw) & ~7u) | mark : wordOf(raw) & ~1u; }

// Which of isValid, isInvalid, isEmpty, isUnderrange, isOverrange, isOtherMark hold.
std::string holds(const M& v) {
    std::string text;
    for (bool holds : {v.isValid(), v.isInvalid(), v.isEmpty(), v.isUnderrange(), v.isOverrange(), v.isOtherMark()})
        text += holds ? '1' : '0';
    return text;
}

}  // namespace

TEST(MarkedFloat, WordsOfConstructorSettersAndPredicates) {
    EXPECT_TRUE(wordOf(M()) == 0x7FC00007u && holds(M()) == "011000");
    EXPECT_EQ(wordOf(M(of<float>(0x3F800007), M::Valid)), 0x3F800006u);
    for (int notMember : {2, 6, 8, -1}) EXPECT_EQ(wordOf(mark(of<float>(0x3F800007), notMember)), 0x3F800007u);
    const std::pair<void (M::*)(), std::uint32_t> steps[] = {
        {&M::setValid, 0x3F800004},     {&M::setUnderrange, 0x3F800003}, {&M::setValid, 0x3F800002},
        {&M::setOtherMark, 0x3F800001}, {&M::setInvalid, 0x3F800007},    {&M::setEmpty, 0x7FC00007},
        {&M::setValid, 0x7FC00006},     {&M::setInvalid, 0x7FC00007},    {&M::setOverrange, 0x7FC00005}};
    const char* predicates[] = {"100000", "010100", "100000", "010001", "010000",
                                "011000", "100000", "011000", "010010"};
    M value(1.0f, M::Overrange);
    EXPECT_EQ(wordOf(value), 0x3F800005u);
    for (int i = 0; i < 9; ++i) {
        (value.*steps[i].first)();
        EXPECT_TRUE(wordOf(value) == steps[i].second && holds(value) == predicates[i]) << std::hex << steps[i].second;
    }
}

TEST(MarkedFloat, ArithmeticMarks) {
    const std::uint32_t marks[5] = {0, 1, 3, 5, 7};  // valid, other, under, over, invalid
    const unsigned sum[5][5] = {{0, 1, 3, 5, 7}, {1, 1, 3, 5, 7}, {3, 3, 3, 7, 7}, {5, 5, 7, 5, 7}, {7, 7, 7, 7, 7}};
    const unsigned dif[5][5] = {{0, 1, 5, 3, 7}, {1, 1, 5, 3, 7}, {3, 3, 7, 3, 7}, {5, 5, 5, 7, 7}, {7, 7, 7, 7, 7}};
    for (int l = 0; l < 5; ++l)
        for (int r = 0; r < 5; ++r) {
            const M a = mark(2.5f, marks[l]), b = mark(1.5f, marks[r]);
            M plus = a, minus = a;
            plus += b, minus -= b;
            EXPECT_TRUE(wordOf(a + b) == marked(a.toFloat() + b.toFloat(), sum[l][r]) && wordOf(plus) == wordOf(a + b));
            EXPECT_TRUE(wordOf(a - b) == marked(a.toFloat() - b.toFloat(), dif[l][r]) && wordOf(minus) == wordOf(a - b))
                << marks[l] << " with " << marks[r];
        }
    // * ORs as + does, also a valid word's bits 2 and 1; / mirrors the right mark as - does.
    const M bits010 = of(0x40000002), other(2.0f, M::OtherMark), under = mark(2.5f, 3), over = mark(1.5f, 5);
    M ratio = under;
    ratio /= over;
    EXPECT_EQ(wordOf(bits010 * other), marked(bits010.toFloat() * other.toFloat(), 3));
    EXPECT_TRUE(wordOf(under / over) == marked(under.toFloat() / over.toFloat(), 3) &&
                wordOf(ratio) == wordOf(under / over));
    for (M result : {under + 1.0f, under * 3.0, under - 0.5, under / 4.0f}) EXPECT_TRUE(result.isUnderrange());

    // Unary minus mirrors the mark, math functions keep it, zero divisors change nothing.
    const M negative(-2.0f, M::Underrange);
    EXPECT_TRUE(wordOf(M(1.0f, M::Valid) / 0.0f) == wordOf(INFINITY) && (M(1.0f, M::Overrange) / 0.0f).isOverrange());
    EXPECT_EQ(wordOf(M(1.0f, M::Valid) / M()), 0x7FC00007u);
    EXPECT_EQ(std::tuple(wordOf(-M(0.0f, M::Valid)), wordOf(-negative), wordOf(std::fabs(negative)),
                         wordOf(std::ceil(M(1.2f, M::Valid))), wordOf(std::floor(M(1.7f, M::Overrange)))),
              std::tuple(0u, 0x40000005u, 0x40000003u, wordOf(2.0f), 0x3F800005u));
    EXPECT_EQ(wordOf(std::pow(negative, 2)), marked(negative.toFloat() * negative.toFloat(), 3));
}

TEST(MarkedFloat, ComparisonsClippingAndRangeCheck) {
    const M five(5.0f, M::Valid), underFive(5.0f, M::Underrange), empty;
    EXPECT_TRUE(five == underFive && five <= underFive && !(five != underFive) && !(five < underFive));
    EXPECT_TRUE(five == of<float>(wordOf(5.0f) | 7) && five < 6.0f && five > 4.0f && five >= 5.0f);
    EXPECT_TRUE(!(empty == empty) && empty != empty && !(empty < five) && !(empty >= 0.0f));
    const M other(1.0f, M::OtherMark), under(1.0f, M::Underrange), over(1.0f, M::Overrange);
    EXPECT_EQ(std::tuple(other.toClippedFloat(-1, 9, 7), under.toClippedFloat(-1, 9, 7), over.toClippedFloat(-1, 9, 7),
                         empty.toClippedFloat(-1, 9, 7)),
              std::tuple(of<float>(0x3F800001), -1.0f, 9.0f, 7.0f));

    // Value, minimum, maximum, in range, the word after the check.
    const std::tuple<M, float, float, bool, std::uint32_t> checks[] = {
        {mark(5.0f, 5), 0, 10, true, wordOf(5.0f) | 4},
        {mark(11.0f, 0), 0, 10, false, wordOf(11.0f) | 5},
        {mark(-1.0f, 0), 0, 10, false, wordOf(-1.0f) | 3},
        {mark(10.0f, 0), 0, 10, true, wordOf(10.0f)},
        {mark(0.0f, 0), 0, 0, true, 0},
        {M(), 0, NAN, true, 0x7FC00006}};
    for (auto [value, minimum, maximum, inRange, after] : checks)
        EXPECT_TRUE(value.checkRange(minimum, maximum) == inRange && wordOf(value) == after) << after;
    M value;
    const char* thrown = "";
    try {
        value.checkRange(2, 1);
    } catch (const char* message) { thrown = message; }
    EXPECT_TRUE(std::string(thrown) == "Minimum greater than maximum." && wordOf(value) == 0x7FC00007u);
}

TEST(MarkedFloat, LegacyWireAndTextForms) {
    // Code, what fromLegacy leaves, what the constructor with Legacy leaves.
    const std::uint32_t rows[][3] = {{0x81, 0x85, 0x7F7FFFFD},
                                     {0x82, 0x83, 0xFF7FFFFB},
                                     {0x83, 0x7FC00007, 0x7FC00007},
                                     {0x84, 0x7FC00007, 0x7FC00007},
                                     {0x85, 0x7FC00007, 0x7FC00007},
                                     {0x8A, 0x7FC00007, 0x7FC00007},
                                     {0xFFFFFFFF, 0x7FC00007, 0x7FC00007},
                                     {0x40490FDB, 0x40490FDA, 0x40490FDA},
                                     {0x86, 0x86, 0x86}};
    for (const auto& [code, read, constructed] : rows) {
        M value(3.0f, M::Underrange);
        value.fromLegacy(of<float>(code));
        EXPECT_TRUE(wordOf(value) == read && wordOf(M(of<float>(code), M::Legacy)) == constructed) << std::hex << code;
    }
    const std::pair<M, std::uint32_t> written[] = {{mark(1.0f, 5), 0x81}, {mark(1.0f, 3), 0x82},
                                                   {mark(1.0f, 7), 0x84}, {M(), 0x85},
                                                   {mark(1.0f, 1), 0x8A}, {of(0x40000006), 0x40000006}};
    for (const auto& [value, code] : written) EXPECT_EQ(wordOf(value.toLegacy()), code);

    const M value = of(0x7FC12345);  // the wire form keeps marks and NaN payload
    EXPECT_EQ(testsupport::recordBytes(value, zarvo::exp::swap), testsupport::hex("7f c1 23 45"));
    EXPECT_EQ(testsupport::recordBytes(value, zarvo::exp::no_swap), testsupport::hex("45 23 c1 7f"));
    for (auto endian : {zarvo::exp::swap, zarvo::exp::no_swap, zarvo::exp::Endian(3)})
        EXPECT_EQ(wordOf(testsupport::readBack<M>(testsupport::recordBytes(value, endian), endian)), 0x7FC12345u);

    std::ostringstream texts;  // toString, then the stream form, which drops two labels and keeps the caller's settings
    for (const M& v : {M(), mark(1.5f, 3), mark(1.5f, 5), mark(1.5f, 1), mark(1.5f, 7), mark(1.5f, 0)})
        texts << v.toString() << "|" << v << ";";
    texts << std::setprecision(9) << M(1.0f, M::Overrange);
    EXPECT_EQ(texts.str(),
              "nan (Empty)|nan (Empty);1.5 (Underrange)|1.5 (Underrange);1.5 (Overrange)|1.5 (Overrange);"
              "1.5 (OtherMark)|1.5;1.5 (Invalid)|1.5;1.5|1.5;1.0000006 (Overrange)");
    EXPECT_EQ(wordOf(M::fromString(" 2.5 (Underrange)")), wordOf(2.5f));

    // What each text leaves in a target that held an overrange 9: a failed read keeps
    // the number read (0 for none) with no mark written.
    const std::string invalid = "Invalid characters detected", marker = "Unable to decode marker";
    const std::tuple<const char*, std::string, std::uint32_t> reads[] = {{"2.5", "", wordOf(2.5f)},
                                                                         {"2.5 (Overrange)", "", wordOf(2.5f) | 5},
                                                                         {"2.5 (Underrange)x", "", wordOf(2.5f) | 3},
                                                                         {"2.5 (OtherMark) tail", "", wordOf(2.5f) | 1},
                                                                         {"2.5 (Invalid)", "", wordOf(2.5f) | 7},
                                                                         {"2.5 (Empty)abc", "", 0x7FC00007},
                                                                         {"", "", wordOf(9.0f) | 4},
                                                                         {"2.5x", invalid, wordOf(2.5f)},
                                                                         {"2.5\n(Overrange)", invalid, wordOf(2.5f)},
                                                                         {"abc", invalid, 0},
                                                                         {"1.0000001 x(Empty)", marker, 0x3F800001},
                                                                         {"2.5 ", marker, wordOf(2.5f)}};
    for (const auto& [text, message, left] : reads) {
        M target(9.0f, M::Overrange);
        std::istringstream stream(text);
        const zarvo::Exception error = testsupport::errorOf([&] { stream >> target; });
        EXPECT_EQ(error.where().empty() ? "" : error.message(), message) << text;
        EXPECT_EQ(wordOf(target), left) << text;
    }
    M target;
    std::istringstream stream("1x");
    EXPECT_THAT(testsupport::errorOf([&] { stream >> target; }).where(),
                testing::MatchesRegex(".*core/datatypes/MarkedFloat.cpp: [0-9]+: operator >>\\(\\.\\.\\)\n"));
}
