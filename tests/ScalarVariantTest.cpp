#include <cmath>
#include <limits>

#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

TEST(ScalarVariant, ConversionsTypedReadsAndEquality) {
    const std::uint64_t ones = std::numeric_limits<std::uint64_t>::max();
    auto v = hold(300);
    EXPECT_EQ(std::tuple(v->toUInt8(), v->toInt8(), v->toBool(), v->toFloat()), std::tuple(44, 44, true, 300.0f));
    v = hold(-1);
    EXPECT_EQ(std::tuple(v->toUInt16(), v->toUInt32(), v->toUInt64()), std::tuple(65535, 4294967295u, ones));
    v = hold(4294967295u);
    EXPECT_EQ(std::tuple(v->toInt32(), v->toInt64()), std::tuple(-1, 4294967295));
    v = hold<unsigned char>(255);
    EXPECT_EQ(std::tuple(v->toUInt16(), v->toInt8(), hold(char(-1))->toUInt16()), std::tuple(255, -1, 65535));
    v = hold(true);
    EXPECT_EQ(std::tuple(v->toDouble(), v->toUInt64(), hold(std::uint64_t(1) << 63)->toDouble()),
              std::tuple(1.0, 1u, 9223372036854775808.0));
    EXPECT_EQ(
        std::tuple(hold(2.9f)->toInt32(), hold(-2.9f)->toInt32(), hold(std::nanf(""))->toBool(), hold(-0.0)->toBool()),
        std::tuple(2, -2, true, false));
    v = hold(-1.0f);
    EXPECT_EQ(std::tuple(hold(300.0f)->toUInt8(), v->toUInt8(), v->toUInt64()), std::tuple(44, 255, ones));
    v = hold(3e9);  // out of range for int: a defined result, no undefined behaviour
    EXPECT_EQ(std::tuple(v->toUInt32(), v->toInt32(), hold(1e19)->toUInt64(), hold(0.1)->toFloat()),
              std::tuple(3000000000u, std::numeric_limits<int>::min(), 10000000000000000000u, 0.1f));

    EXPECT_EQ(messageOf([] { hold(5)->value<unsigned int>(); }), "Variant-type (int)!= Template-type (unsigned int)");
    const std::shared_ptr<Variant> constant = std::make_shared<Variant_<const float>>(1.5f);
    EXPECT_EQ(failureOf([&] { constant->value<float>(); }),
              "Can't get void* address pointer from const data!|zarvo::exp::Variant_<const float>::address_imp");
    EXPECT_EQ(messageOf([&] { static_cast<Variant_<const float>&>(*constant).moveImpl(2.0f); }),
              "A variant holding const data can not be moved!");
    EXPECT_TRUE(constant->value<const float>() == 1.5f && constant->getTypeString() == "float");

    const auto held = std::make_shared<Variant_<const MarkedFloat>>(MarkedFloat(1.5f, MarkedFloat::Overrange));
    EXPECT_EQ(bytesOf(*held, swap), hex("3f c0 00 05"));
    EXPECT_THROW(held->toFloat(), zarvo::Exception);

    const auto nan = hold(std::nanf(""));
    const std::tuple<std::shared_ptr<Variant>, std::shared_ptr<Variant>, bool> table[] = {
        {hold(5), hold(std::uint64_t(5)), true},
        {hold(-1), hold(std::int64_t(-1)), true},
        {hold<signed char>(-1), hold(std::numeric_limits<std::uint64_t>::max()), true},
        {hold<signed char>(-1), hold(4294967295u), false},
        {hold(true), hold(char(1)), true},
        {hold('A'), hold(65), true},
        {hold(1.0f), hold(1.0), false},
        {hold(1.0f), hold(1), false},
        {nan, nan, false},
        {hold(std::string("1")), hold(1), false},
        {constant, hold(1.5f), true},
        {held, std::make_shared<Variant_<const MarkedFloat>>(MarkedFloat(1.5f, MarkedFloat::Valid)), true},
        {held, hold(1.5f), false}};
    for (const auto& [a, b, equal] : table)
        EXPECT_TRUE(a->equal_imp(b) == equal && b->equal_imp(a) == equal) << a->toString() << " " << b->toString();
}

TEST(ScalarVariant, ByteAndTextForms) {
    const std::tuple<std::shared_ptr<Variant>, const char*, const char*> table[] = {
        {hold<short>(258), "02 01", "01 02"},
        {hold(0x01020304), "04 03 02 01", "01 02 03 04"},
        {hold(true), "01", "01"},
        {hold('q'), "71", "71"},
        {hold(1.0f), "00 00 80 3f", "3f 80 00 00"},
        {hold(-2.0), "00 00 00 00 00 00 00 c0", "c0 00 00 00 00 00 00 00"},
        {hold(std::int64_t(0x0102030405060708)), "08 07 06 05 04 03 02 01", "01 02 03 04 05 06 07 08"}};
    for (const auto& [value, noSwap, swapped] : table)
        EXPECT_EQ(bytesOf(*value, no_swap) + "|" + bytesOf(*value, swap), hex(noSwap) + "|" + hex(swapped));

    size_t size = 1234;
    EXPECT_TRUE(Variant::deserialize("bool", swap, "\x07", size)->toBool() && size == 1);
    const char twoShorts[] = "\x01\x02\x03\x04";
    EXPECT_EQ(Variant::deserialize("uint16", swap, twoShorts, size)->toUInt16(), 0x0102);
    EXPECT_EQ(Variant::deserialize("uint16", no_swap, twoShorts + size, size)->toUInt16(), 0x0403);
    std::ostringstream stream;
    EXPECT_TRUE(hold(0x01020304)->serialize(swap, stream) == 4 && stream.str() == "\x01\x02\x03\x04");

    const char* texts[][3] = {{"int32", "0x1F", "31"},
                              {"int32", "10x", "16"},
                              {"int32", "  12 13", "12"},
                              {"int32", "abc", "0"},
                              {"int32", "", "0"},
                              {"double", "   ", "0"},
                              {"char", "  q", "q"},
                              {"char", "xy", "x"},
                              {"bool", "1", "1"},
                              {"int8", "-3", "-3"},
                              {"uint8", "0xff", "255"},
                              {"double", "2.5e-3", "0.0025"},
                              {"uint64", "18446744073709551615", "18446744073709551615"},
                              {"float", "0.1", "0.1"},
                              {"double", "0.3333333333333333", "0.3333333333333333"}};
    for (const auto& [type, text, expected] : texts)
        EXPECT_EQ(Variant::fromString(type, text)->toString(), expected) << type << " " << text;
    EXPECT_EQ(Variant::fromString("double", hold(1.0 / 3)->toString())->toDouble(), 1.0 / 3);
}
