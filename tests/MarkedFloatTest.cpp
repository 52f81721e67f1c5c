#include <cmath>
#include <cstring>
#include <iomanip>

#include "core/datatypes/MarkedFloat.h"
#include "tests/TestSupport.h"

using M = zarvo::exp::MarkedFloat;

namespace {

template <class T>
std::uint32_t word(T value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, 4);
    return bits;
}
template <class T = M>
T of(std::uint32_t bits) {
    T value;
    std::memcpy(static_cast<void*>(&value), &bits, 4);
    return value;
}
M mark(float value, std::uint32_t mark) { return M(value, M::MarkedFloatValidity(mark)); }
// The word the mark rule gives for a raw result: the mark written, or bit 0 cleared if valid.
std::uint32_t marked(float raw, std::uint32_t mark) { return mark ? (word(raw) & ~7u) | mark : word(raw) & ~1u; }

// Which of isValid, isInvalid, isEmpty, isUnderrange, isOverrange, isOtherMark hold.
std::string holds(const M& v) {
    std::string text;
    for (bool holds : {v.isValid(), v.isInvalid(), v.isEmpty(), v.isUnderrange(), v.isOverrange(), v.isOtherMark()})
        text += holds ? '1' : '0';
    return text;
}

std::string readInto(M& target, const std::string& text) {
    std::istringstream stream(text);
    try {
        stream >> target;
    } catch (const zarvo::Exception& error) {
        EXPECT_THAT(error.where(), testing::MatchesRegex(".*core/datatypes/MarkedFloat.cpp: [0-9]+: operator >>"
                                                         "\\(\\.\\.\\)\n"));
        return error.message();
    }
    return "";
}

}  // namespace

TEST(MarkedFloat, WordsOfConstructorSettersAndPredicates) {
    EXPECT_TRUE(word(M()) == 0x7FC00007u && holds(M()) == "011000");
    EXPECT_EQ(word(M(of<float>(0x3F800007), M::Valid)), 0x3F800006u);
    for (int notMember : {2, 6, 8, -1}) EXPECT_EQ(word(mark(of<float>(0x3F800007), notMember)), 0x3F800007u);
    const struct {
        void (M::*set)();
        std::uint32_t word;
        const char* holds;
    } steps[] = {{&M::setValid, 0x3F800004, "100000"},    {&M::setUnderrange, 0x3F800003, "010100"},
                 {&M::setValid, 0x3F800002, "100000"},    {&M::setOtherMark, 0x3F800001, "010001"},
                 {&M::setInvalid, 0x3F800007, "010000"},  {&M::setEmpty, 0x7FC00007, "011000"},
                 {&M::setValid, 0x7FC00006, "100000"},    {&M::setInvalid, 0x7FC00007, "011000"},
                 {&M::setOverrange, 0x7FC00005, "010010"}};
    M value(1.0f, M::Overrange);
    EXPECT_EQ(word(value), 0x3F800005u);
    for (const auto& step : steps) {
        (value.*step.set)();
        EXPECT_EQ(word(value), step.word);
        EXPECT_EQ(holds(value), step.holds) << std::hex << step.word;
    }
}

TEST(MarkedFloat, BothMarkTablesForEveryOperatorForm) {
    const std::uint32_t marks[5] = {0, 1, 3, 5, 7};  // valid, other, under, over, invalid
    const unsigned sum[5][5] = {{0, 1, 3, 5, 7}, {1, 1, 3, 5, 7}, {3, 3, 3, 7, 7}, {5, 5, 7, 5, 7}, {7, 7, 7, 7, 7}};
    const unsigned dif[5][5] = {{0, 1, 5, 3, 7}, {1, 1, 5, 3, 7}, {3, 3, 7, 3, 7}, {5, 5, 5, 7, 7}, {7, 7, 7, 7, 7}};
    for (int l = 0; l < 5; ++l)
        for (int r = 0; r < 5; ++r) {
            const M a = mark(2.5f, marks[l]), b = mark(1.5f, marks[r]);
            const float x = a.toFloat(), y = b.toFloat();
            M plus = a, times = a, minus = a, over = a;
            plus += b, times *= b, minus -= b, over /= b;
            SCOPED_TRACE(testing::Message() << marks[l] << " with " << marks[r]);
            EXPECT_EQ(word(a + b), marked(x + y, sum[l][r]));
            EXPECT_EQ(word(a * b), marked(x * y, sum[l][r]));
            EXPECT_EQ(word(a - b), marked(x - y, dif[l][r]));
            EXPECT_EQ(word(a / b), marked(x / y, dif[l][r]));
            EXPECT_TRUE(word(plus) == word(a + b) && word(times) == word(a * b) && word(minus) == word(a - b) &&
                        word(over) == word(a / b));
        }
    const M bits010 = of(0x40000002), other(2.0f, M::OtherMark);  // a valid word's bits 2 and 1 join the OR
    EXPECT_EQ(word(bits010 * other), marked(bits010.toFloat() * other.toFloat(), 3));
    EXPECT_EQ(word(other - bits010), marked(other.toFloat() - bits010.toFloat(), 1));
}

TEST(MarkedFloat, PlainOperandsUnaryMinusAndMathFunctions) {
    const M under(-2.0f, M::Underrange);
    for (M result : {under + 1.0f, under * 3.0, under - 0.5, under / 4.0f}) EXPECT_TRUE(result.isUnderrange());
    EXPECT_EQ(word(under + 1.0), marked(under.toFloat() + 1.0f, 3));
    EXPECT_EQ(word(of(0x40000002) * 1.0f), 0x40000002u);
    M sum(3.0f, M::Valid);
    sum += 0.1;
    EXPECT_EQ(word(sum), marked(3.0f + 0.1f, 0));
    EXPECT_TRUE(word(M(1.0f, M::Valid) / 0.0f) == word(INFINITY) && (M(1.0f, M::Overrange) / 0.0f).isOverrange());
    EXPECT_EQ(word(M(1.0f, M::Valid) / M()), 0x7FC00007u);
    EXPECT_EQ(std::tuple(word(-M(0.0f, M::Valid)), word(-under), word(std::fabs(under)),
                         word(std::ceil(M(1.2f, M::Valid))), word(std::floor(M(1.7f, M::Overrange)))),
              std::tuple(0u, 0x40000005u, 0x40000003u, word(2.0f), 0x3F800005u));
    EXPECT_EQ(word(std::pow(under, 2)), marked(under.toFloat() * under.toFloat(), 3));
    EXPECT_EQ(word(std::pow(M(2.0f, M::Valid), 3)), word(8.0f));
    EXPECT_EQ(word(std::pow(M(4.0f, M::OtherMark), 0.5f)), marked(std::pow(of<float>(0x40800001), 0.5f), 1));
}

TEST(MarkedFloat, ComparisonsClippingAndRangeCheck) {
    const M five(5.0f, M::Valid), underFive(5.0f, M::Underrange), empty;
    EXPECT_TRUE(five == underFive && five <= underFive && !(five != underFive) && !(five < underFive));
    EXPECT_TRUE(five == of<float>(word(5.0f) | 7) && five < 6.0f && five > 4.0f && five >= 5.0f);
    EXPECT_TRUE(!(empty == empty) && empty != empty && !(empty < five) && !(empty >= 0.0f));
    const M other(1.0f, M::OtherMark), under(1.0f, M::Underrange), over(1.0f, M::Overrange);
    EXPECT_EQ(std::tuple(other.toClippedFloat(-1, 9, 7), under.toClippedFloat(-1, 9, 7), over.toClippedFloat(-1, 9, 7),
                         empty.toClippedFloat(-1, 9, 7)),
              std::tuple(of<float>(0x3F800001), -1.0f, 9.0f, 7.0f));

    // Value, minimum, maximum, in range, the word after the check.
    const std::tuple<M, float, float, bool, std::uint32_t> checks[] = {
        {mark(5.0f, 5), 0, 10, true, word(5.0f) | 4},   {mark(11.0f, 0), 0, 10, false, word(11.0f) | 5},
        {mark(-1.0f, 0), 0, 10, false, word(-1.0f) | 3}, {mark(10.0f, 0), 0, 10, true, word(10.0f)},
        {mark(0.0f, 0), 0, 0, true, 0},                  {M(), 0, NAN, true, 0x7FC00006}};
    for (auto [value, minimum, maximum, inRange, after] : checks) {
        EXPECT_EQ(value.checkRange(minimum, maximum), inRange);
        EXPECT_EQ(word(value), after);
    }
    M value;
    try {
        value.checkRange(2, 1);
        ADD_FAILURE() << "no throw";
    } catch (const char* message) {
        EXPECT_STREQ(message, "Minimum greater than maximum.");
    }
    EXPECT_EQ(word(value), 0x7FC00007u);
}

TEST(MarkedFloat, LegacyTableBothReadersAndWriter) {
    // Code, what fromLegacy leaves, what the constructor with Legacy leaves.
    const std::uint32_t rows[][3] = {
        {0x81, 0x85, 0x7F7FFFFD},         {0x82, 0x83, 0xFF7FFFFB},         {0x83, 0x7FC00007, 0x7FC00007},
        {0x84, 0x7FC00007, 0x7FC00007},   {0x85, 0x7FC00007, 0x7FC00007},   {0x8A, 0x7FC00007, 0x7FC00007},
        {0xFFFFFFFF, 0x7FC00007, 0x7FC00007}, {0x40490FDB, 0x40490FDA, 0x40490FDA}, {0x86, 0x86, 0x86}};
    for (const auto& row : rows) {
        M read(3.0f, M::Underrange);
        read.fromLegacy(of<float>(row[0]));
        EXPECT_EQ(word(read), row[1]) << std::hex << row[0];
        EXPECT_EQ(word(M(of<float>(row[0]), M::Legacy)), row[2]) << std::hex << row[0];
    }
    const std::pair<M, std::uint32_t> written[] = {{mark(1.0f, 5), 0x81}, {mark(1.0f, 3), 0x82},
                                                   {mark(1.0f, 7), 0x84}, {M(), 0x85},
                                                   {mark(1.0f, 1), 0x8A}, {of(0x40000006), 0x40000006}};
    for (const auto& [value, code] : written) EXPECT_EQ(word(value.toLegacy()), code);
}

TEST(MarkedFloat, TextFormsAndStreamReader) {
    const M states[] = {M(), mark(1.5f, 3), mark(1.5f, 5), mark(1.5f, 1), mark(1.5f, 7), mark(1.5f, 0)};
    const char* texts[] = {"nan (Empty)",     "1.5 (Underrange)", "1.5 (Overrange)",
                           "1.5 (OtherMark)", "1.5 (Invalid)",    "1.5"};
    std::ostringstream streamed;
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(states[i].toString(), texts[i]);
        streamed << states[i] << ';';
    }
    EXPECT_EQ(streamed.str(), "nan (Empty);1.5 (Underrange);1.5 (Overrange);1.5;1.5;1.5;");
    std::ostringstream precise;
    precise << std::setprecision(9) << M(1.0f, M::Overrange);
    EXPECT_EQ(precise.str(), "1.0000006 (Overrange)");
    EXPECT_EQ(word(M::fromString(" 2.5 (Underrange)")), word(2.5f));

    // What each text leaves in a target that held an overrange 9: a failed read keeps
    // the number read (0 for none) with no mark written.
    const std::string invalid = "Invalid characters detected", marker = "Unable to decode marker";
    const std::tuple<const char*, std::string, std::uint32_t> reads[] = {
        {"2.5", "", word(2.5f)},
        {"2.5 (Overrange)", "", word(2.5f) | 5},      {"2.5 (Underrange)x", "", word(2.5f) | 3},
        {"2.5 (OtherMark) tail", "", word(2.5f) | 1}, {"2.5 (Invalid)", "", word(2.5f) | 7},
        {"2.5 (Empty)abc", "", 0x7FC00007},           {"", "", word(9.0f) | 4},
        {"2.5x", invalid, word(2.5f)},                {"2.5\n(Overrange)", invalid, word(2.5f)},
        {"abc", invalid, 0},                          {"nan (Empty)", invalid, 0},
        {"1.0000001 x(Empty)", marker, 0x3F800001},   {"2.5 ", marker, word(2.5f)}};
    for (const auto& [text, message, left] : reads) {
        M target(9.0f, M::Overrange);
        EXPECT_EQ(readInto(target, text), message) << text;
        EXPECT_EQ(word(target), left) << text;
    }
}

TEST(MarkedFloat, WireFormInBothOrders) {
    const M value = of(0x7FC12345);
    EXPECT_EQ(testsupport::recordBytes(value, zarvo::exp::swap), testsupport::hex("7f c1 23 45"));
    EXPECT_EQ(testsupport::recordBytes(value, zarvo::exp::no_swap), testsupport::hex("45 23 c1 7f"));
    for (auto endian : {zarvo::exp::swap, zarvo::exp::no_swap, zarvo::exp::Endian(3)})
        EXPECT_EQ(word(testsupport::readBack<M>(testsupport::recordBytes(value, endian), endian)), 0x7FC12345u);
}
