#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

#include "core/datatypes/TypeObject.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;


TEST(ScalarVariant, ConversionTableEdges) {
    const auto i300 = hold(300);
    EXPECT_EQ(i300->toUInt8(), 44);
    EXPECT_EQ(i300->toInt8(), 44);
    EXPECT_TRUE(i300->toBool());
    EXPECT_EQ(i300->toFloat(), 300.0f);

    const auto minus1 = hold(-1);
    EXPECT_EQ(minus1->toUInt16(), 65535);
    EXPECT_EQ(minus1->toUInt32(), 4294967295u);
    EXPECT_EQ(minus1->toUInt64(), std::numeric_limits<std::uint64_t>::max());

    const auto u32max = hold(4294967295u);
    EXPECT_EQ(u32max->toInt32(), -1);
    EXPECT_EQ(u32max->toInt64(), 4294967295);

    EXPECT_EQ(hold(char(-1))->toUInt16(), 65535);
    EXPECT_EQ(hold<unsigned char>(255)->toUInt16(), 255);
    EXPECT_EQ(hold<unsigned char>(255)->toInt8(), -1);
    EXPECT_EQ(hold(std::uint64_t(1) << 63)->toDouble(), 9223372036854775808.0);
    EXPECT_EQ(hold(true)->toDouble(), 1.0);
    EXPECT_EQ(hold(true)->toUInt64(), 1u);

    EXPECT_EQ(hold(2.9f)->toInt32(), 2);
    EXPECT_EQ(hold(-2.9f)->toInt32(), -2);
    EXPECT_TRUE(hold(std::nanf(""))->toBool());
    EXPECT_FALSE(hold(-0.0)->toBool());
    EXPECT_EQ(hold(300.0f)->toUInt8(), 44);
    EXPECT_EQ(hold(-1.0f)->toUInt8(), 255);
    EXPECT_EQ(hold(-1.0f)->toUInt64(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(hold(1e19)->toUInt64(), 10000000000000000000u);
    EXPECT_EQ(hold(3e9)->toUInt32(), 3000000000u);
    EXPECT_EQ(hold(3e9)->toInt32(), std::numeric_limits<int>::min());  // out of range: no undefined behaviour
    EXPECT_EQ(hold(0.1)->toFloat(), 0.1f);
}

TEST(ScalarVariant, TypedReadAndConstHolder) {
    const std::shared_ptr<Variant> number = hold(5);
    EXPECT_EQ(number->value<int>(), 5);
    EXPECT_EQ(messageOf([&] { number->value<unsigned int>(); }),
              std::string("Variant-type (i)!= Template-type (j)"));

    const std::shared_ptr<Variant> constant = std::make_shared<Variant_<const float>>(1.5f);
    EXPECT_EQ(constant->value<const float>(), 1.5f);
    try {
        constant->value<float>();
        FAIL() << "no throw";
    } catch (const zarvo::Exception& error) {
        EXPECT_EQ(error.message(), "Can't get void* address pointer from const data!");
        EXPECT_THAT(error.where(), ::testing::EndsWith(": zarvo::exp::Variant_<const float>::address_imp(..)\n"));
    }
    auto& constHolder = static_cast<Variant_<const float>&>(*constant);
    EXPECT_EQ(messageOf([&] { constHolder.moveImpl(2.0f); }), "A variant holding const data can not be moved!");
    EXPECT_EQ(constant->value<const float>(), 1.5f);
    EXPECT_EQ(constant->getTypeString(), "float");
    EXPECT_TRUE(constant->isConst());
    EXPECT_TRUE(constant->isFloatingPoint());
    EXPECT_EQ(bytesOf(*constant, no_swap), bytesOf(*hold(1.5f), no_swap));

    EXPECT_TRUE(number->isFundamental() && number->isIntegral() && !number->isFloatingPoint() && !number->isConst());
    auto& plain = static_cast<Variant_<int>&>(*number);
    plain.moveImpl(9);
    EXPECT_EQ(number->value<int>(), 9);
}

TEST(ScalarVariant, EqualityWidensIntegralsOnly) {
    EXPECT_TRUE(hold(5)->equal_imp(hold(std::uint64_t(5))));
    EXPECT_TRUE(hold(std::uint64_t(5))->equal_imp(hold(5)));
    EXPECT_TRUE(hold(-1)->equal_imp(hold(std::int64_t(-1))));
    EXPECT_TRUE(hold<signed char>(-1)->equal_imp(hold(std::numeric_limits<std::uint64_t>::max())));
    EXPECT_FALSE(hold<signed char>(-1)->equal_imp(hold(4294967295u)));
    EXPECT_TRUE(hold(true)->equal_imp(hold(char(1))));
    EXPECT_TRUE(hold('A')->equal_imp(hold(65)));
    EXPECT_FALSE(hold(1.0f)->equal_imp(hold(1.0)));
    EXPECT_FALSE(hold(1.0f)->equal_imp(hold(1)));
    const auto nan = hold(std::nanf(""));
    EXPECT_FALSE(nan->equal_imp(nan));
    const std::shared_ptr<Variant> constant = std::make_shared<Variant_<const float>>(2.5f);
    EXPECT_TRUE(constant->equal_imp(hold(2.5f)));
    EXPECT_TRUE(hold(2.5f)->equal_imp(constant));
}

TEST(ScalarVariant, ByteFormsInBothOrders) {
    EXPECT_EQ(bytesOf(*hold<short>(258), no_swap), std::string("\x02\x01", 2));
    EXPECT_EQ(bytesOf(*hold<short>(258), swap), std::string("\x01\x02", 2));
    EXPECT_EQ(bytesOf(*hold(0x01020304), no_swap), "\x04\x03\x02\x01");
    EXPECT_EQ(bytesOf(*hold(0x01020304), swap), "\x01\x02\x03\x04");
    EXPECT_EQ(bytesOf(*hold(std::int64_t(0x0102030405060708)), swap), "\x01\x02\x03\x04\x05\x06\x07\x08");
    EXPECT_EQ(bytesOf(*hold(1.0f), swap), std::string("\x3f\x80\x00\x00", 4));
    EXPECT_EQ(bytesOf(*hold(1.0f), no_swap), std::string("\x00\x00\x80\x3f", 4));
    EXPECT_EQ(bytesOf(*hold(-2.0), swap), std::string("\xc0\x00\x00\x00\x00\x00\x00\x00", 8));
    EXPECT_EQ(bytesOf(*hold(true), swap), std::string("\x01", 1));
    EXPECT_EQ(bytesOf(*hold('q'), swap), "q");
    EXPECT_EQ(bytesOf(*hold(0x01020304), Endian(7)), "\x04\x03\x02\x01");  // any non-zero value keeps host order

    size_t size = 1234;
    EXPECT_TRUE(Variant::deserialize("bool", swap, "\x07", size)->toBool());
    EXPECT_EQ(size, 1u);
    const char twoShorts[] = "\x01\x02\x03\x04";
    EXPECT_EQ(Variant::deserialize("uint16", swap, twoShorts, size)->toUInt16(), 0x0102);
    EXPECT_EQ(Variant::deserialize("uint16", no_swap, twoShorts + size, size)->toUInt16(), 0x0403);
    EXPECT_EQ(Variant::deserialize("int16", no_swap, "\x01\x02", size)->toInt16(), 0x0201);  // mismatch goes unseen

    std::ostringstream stream;
    EXPECT_EQ(hold(0x01020304)->serialize(swap, stream), 4u);
    EXPECT_EQ(stream.str(), "\x01\x02\x03\x04");
}

TEST(ScalarVariant, TextForms) {
    EXPECT_EQ(Variant::fromString("int32", "0x1F")->toInt32(), 31);
    EXPECT_EQ(Variant::fromString("int32", "10x")->toInt32(), 16);
    EXPECT_EQ(Variant::fromString("int32", "  12 13")->toInt32(), 12);
    EXPECT_EQ(Variant::fromString("int32", "abc")->toInt32(), 0);
    EXPECT_EQ(Variant::fromString("int32", "")->toInt32(), 0);
    EXPECT_EQ(Variant::fromString("char", "")->toInt32(), 0);
    EXPECT_EQ(Variant::fromString("double", "   ")->toDouble(), 0.0);
    EXPECT_EQ(Variant::fromString("char", "  q")->toString(), "q");
    EXPECT_EQ(Variant::fromString("char", "xy")->toString(), "x");
    EXPECT_EQ(Variant::fromString("bool", "1")->toString(), "1");
    EXPECT_EQ(Variant::fromString("int8", "-3")->toString(), "-3");
    EXPECT_EQ(Variant::fromString("uint8", "0xff")->toInt32(), 255);
    EXPECT_EQ(Variant::fromString("uint64", "18446744073709551615")->toString(), "18446744073709551615");
    EXPECT_EQ(Variant::fromString("double", "2.5e-3")->toDouble(), 2.5e-3);
    EXPECT_EQ(hold(0.1f)->toString(), "0.1");
    EXPECT_EQ(hold(1.0 / 3)->toString(), "0.3333333333333333");
    EXPECT_EQ(Variant::fromString("double", hold(1.0 / 3)->toString())->toDouble(), 1.0 / 3);
}

TEST(ScalarVariant, ConstantMarkedFloatHolder) {
    const MarkedFloat reading(1.5f, MarkedFloat::Overrange);
    const std::shared_ptr<Variant> held = std::make_shared<Variant_<const MarkedFloat>>(reading);
    EXPECT_TRUE(held->isClass() && held->isConst() && held->isComparable() && held->isSwappable());
    EXPECT_FALSE(held->isArithmetic() || held->isFloatingPoint() || held->isContainer());
    EXPECT_EQ(messageOf([&] { held->toFloat(); }),
              std::string(typeid(MarkedFloat).name()) + " is not convertible to " + typeid(float).name());
    EXPECT_EQ(messageOf([&] { held->value<MarkedFloat>(); }), "Can't get void* address pointer from const data!");
    EXPECT_TRUE(held->value<const MarkedFloat>().isOverrange());
    EXPECT_EQ(held->toString(), reading.toString());
    EXPECT_EQ(bytesOf(*held, swap), std::string("\x3f\xc0\x00\x05", 4));
    EXPECT_TRUE(held->equal_imp(std::make_shared<Variant_<const MarkedFloat>>(MarkedFloat(1.5f, MarkedFloat::Valid))));
    EXPECT_FALSE(held->equal_imp(hold(1.5f)));
    EXPECT_EQ(messageOf([&] { held->getTypeString(); }),
              std::string("Unknown type id: ") + typeid(MarkedFloat).name());
}
