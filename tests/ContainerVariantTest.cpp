#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <list>
#include <string>
#include <vector>

#include "core/datatypes/TypeObject.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;


TEST(ContainerVariant, ByteLayoutsInBothOrders) {
    using B = std::string;
    EXPECT_EQ(bytesOf(*hold(B("ab")), no_swap), B("\x02\0\0\0ab", 6));
    EXPECT_EQ(bytesOf(*hold(B("ab")), swap), B("\0\0\0\x02" "ab", 6));
    EXPECT_EQ(bytesOf(*hold(std::vector<short>{1, 2}), no_swap), B("\x02\0\0\0\x01\0\x02\0", 8));
    EXPECT_EQ(bytesOf(*hold(std::vector<short>{1, 2}), swap), B("\0\0\0\x02\0\x01\0\x02", 8));
    EXPECT_EQ(bytesOf(*hold(std::list<short>{1, 2}), swap), B("\0\0\0\x02\0\x01\0\x02", 8));
    EXPECT_EQ(bytesOf(*hold(std::vector<bool>{true, false}), no_swap), B("\x02\0\0\0\x01\0", 6));
    EXPECT_EQ(bytesOf(*hold(std::vector<bool>{true, false}), swap), B("\0\0\0\x02\x01\0", 6));
    EXPECT_EQ(bytesOf(*hold(std::list<double>{}), swap), B("\0\0\0\0", 4));
    EXPECT_EQ(bytesOf(*hold(std::vector<std::string>{"a", ""}), swap), B("\0\0\0\x02\0\0\0\x01" "a\0\0\0\0", 13));
    EXPECT_EQ(bytesOf(*hold(std::vector<float>{1.0f}), swap), B("\0\0\0\x01\x3f\x80\0\0", 8));
    EXPECT_EQ(bytesOf(*hold(std::vector<std::uint64_t>{1}), swap), B("\0\0\0\x01\0\0\0\0\0\0\0\x01", 12));
    EXPECT_EQ(hold(std::vector<bool>(33, true))->sizeofT_imp(), 37u);
    EXPECT_EQ(hold(std::vector<int>{})->sizeofT_imp(), 4u);

    // A string with zero bytes travels whole; a vector's bytes read back as a list.
    const B withNul("a\0b", 3);
    size_t size = 0;
    EXPECT_EQ(Variant::deserialize("string", swap, bytesOf(*hold(withNul), swap).data(), size)->value<B>(), withNul);
    const B ints = bytesOf(*hold(std::vector<int>{7, -8, 9}), swap);
    EXPECT_EQ(Variant::deserialize("listint32", swap, ints.data(), size)->value<std::list<int>>(),
              (std::list<int>{7, -8, 9}));
    EXPECT_EQ(size, 16u);
    // Written with swap, read with no_swap: a wrong count, not detected.
    EXPECT_EQ(Memory::deserializeT<std::vector<int>>(no_swap, B("\0\0\0\0", 4).data(), size).size(), 0u);
}

TEST(ContainerVariant, BoundedReadRefusesShortInput) {
    const std::string bytes("\x05\0\0\0abc", 7);  // claims 5 bytes, holds 3
    size_t size = 0;
    try {
        Memory::deserializeT<std::string>(no_swap, bytes.data(), bytes.size(), size);
        FAIL() << "no throw";
    } catch (const zarvo::Exception& error) {
        EXPECT_EQ(error.message(), "Input ends before the value does: 5 more bytes needed at offset 4, 3 left");
    }
    const std::string huge("\xff\xff\xff\xff", 4);
    EXPECT_THROW(Memory::deserializeT<std::vector<double>>(no_swap, huge.data(), 4, size), zarvo::Exception);
    EXPECT_THROW(Memory::deserializeT<std::list<std::string>>(no_swap, huge.data(), 4, size), zarvo::Exception);
    const std::string exact("\x03\0\0\0abcXYZ", 10);
    EXPECT_EQ(Memory::deserializeT<std::string>(no_swap, exact.data(), exact.size(), size), "abc");
    EXPECT_EQ(size, 7u);
}

TEST(ContainerVariant, TextForms) {
    EXPECT_EQ(hold(std::vector<int>{1, 2, 3})->toString(), "1;2;3;");
    EXPECT_EQ(hold(std::list<bool>{true, false})->toString(), "1;0;");
    EXPECT_EQ(hold(std::vector<std::string>{"a", "b"})->toString(), "a;b;");
    EXPECT_EQ(hold(std::vector<unsigned char>{200, 7})->toString(), "200;7;");
    EXPECT_EQ(hold(std::vector<double>{0.5, -1e300})->toString(), "0.5;-1e+300;");
    EXPECT_EQ(hold(std::string("x;y"))->toString(), "x;y");
    EXPECT_EQ(hold(std::list<int>{})->toString(), "");

    EXPECT_EQ(Variant::fromString("vecint32", "1;2;3;4")->value<std::vector<int>>(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(Variant::fromString("listint32", "7")->value<std::list<int>>().size(), 0u);
    EXPECT_EQ(Variant::fromString("vecint16", "0x10;16;")->value<std::vector<short>>(), (std::vector<short>{16, 16}));
    EXPECT_EQ(Variant::fromString("vecuint32", ";;")->value<std::vector<unsigned>>(), (std::vector<unsigned>{0, 0}));
    EXPECT_EQ(Variant::fromString("liststring", ";;")->value<std::list<std::string>>(),
              (std::list<std::string>{"", ""}));
    EXPECT_EQ(Variant::fromString("vecstring", "a;b;c;")->value<std::vector<std::string>>().size(), 3u);
    EXPECT_EQ(hold(std::list<char>{'a', ';'})->toString(), "a;;;");
    EXPECT_EQ(Variant::fromString("listchar", "a;;;")->value<std::list<char>>().size(), 3u);
    EXPECT_EQ(Variant::fromString("vecint8", "-1;0x7f;")->value<std::vector<signed char>>(),
              (std::vector<signed char>{-1, 127}));
    EXPECT_EQ(Variant::fromString("string", " keep blanks ")->toString(), " keep blanks ");
    EXPECT_EQ(Variant::fromString("vecfloat", "")->value<std::vector<float>>().size(), 0u);
}

TEST(ContainerVariant, FamiliesAnswerAndCompare) {
    const auto digits = hold(std::string("42"));
    EXPECT_EQ(messageOf([&] { digits->toInt32(); }),
              std::string(typeid(std::string).name()) + " is not convertible to " + typeid(int).name());
    EXPECT_TRUE(digits->isClass() && digits->isComparable() && digits->isSwappable());
    EXPECT_FALSE(digits->isContainer() || digits->isArithmetic());
    const auto vec = hold(std::vector<int>{});
    EXPECT_TRUE(vec->isContainer() && vec->isSwappable() && vec->isComparable());
    EXPECT_THROW(vec->toInt32(), zarvo::Exception);

    EXPECT_TRUE(hold(std::vector<bool>{true})->equal_imp(hold(std::vector<bool>{true})));
    EXPECT_FALSE(hold(std::vector<bool>{true})->equal_imp(hold(std::list<bool>{true})));
    EXPECT_FALSE(hold(std::vector<float>{NAN})->equal_imp(hold(std::vector<float>{NAN})));
    EXPECT_FALSE(hold(std::list<std::string>{"a"})->equal_imp(hold(std::list<std::string>{"a", ""})));
    EXPECT_FALSE(hold(std::string("1"))->equal_imp(hold(1)));
    EXPECT_FALSE(hold(1)->equal_imp(hold(std::string("1"))));
    EXPECT_EQ(std::string(getStringFromType(typeid(const char*))), "string");

    auto vector = std::make_shared<Variant_<std::vector<int>>>(std::vector<int>{1, 2});
    std::vector<int> replacement{5};
    vector->moveImpl(std::move(replacement));
    EXPECT_TRUE(replacement.empty());
    EXPECT_EQ(vector->value<std::vector<int>>(), std::vector<int>{5});
    vector->moveImpl(static_cast<std::vector<int>&&>(*static_cast<std::vector<int>*>(vector->address_imp())));
    EXPECT_EQ(vector->value<std::vector<int>>(), std::vector<int>{5});
}

TEST(ContainerVariant, EveryRegisteredNameRoundTrips) {
    const char* elements[] = {"bool", "char", "int8", "uint8", "int16", "uint16", "int32",
                              "uint32", "int64", "uint64", "float", "double", "string"};
    for (const std::string element : elements)
        for (const std::string& name : {element, "vec" + element, "list" + element}) {
            const std::string text = name == element ? "0x31" : "0x31;1;;";
            const auto value = Variant::fromString(name, text);
            ASSERT_NE(value, nullptr) << name;
            EXPECT_EQ(value->getTypeString(), name);
            EXPECT_EQ(Variant::fromString(name, value->toString())->toString(), value->toString()) << name;
            for (Endian endian : {swap, no_swap}) {
                size_t size = 0;
                const auto bytes = value->serialize(endian, size);
                size_t used = 0;
                EXPECT_TRUE(Variant::deserialize(name, endian, bytes.get(), used)->equal_imp(value)) << name;
                EXPECT_EQ(used, size) << name;
                EXPECT_EQ(value->sizeofT_imp(), size) << name;
            }
        }
}
