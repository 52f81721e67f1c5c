#include <cmath>

#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

TEST(ContainerVariant, ByteAndTextFormsRefusalsAndEquality) {
    const std::tuple<std::shared_ptr<Variant>, const char*, const char*> table[] = {
        {hold(std::string("ab")), "02 00 00 00 61 62", "00 00 00 02 61 62"},
        {hold(std::vector<short>{1, 2}), "02 00 00 00 01 00 02 00", "00 00 00 02 00 01 00 02"},
        {hold(std::list<short>{1, 2}), "02 00 00 00 01 00 02 00", "00 00 00 02 00 01 00 02"},
        {hold(std::vector<bool>{true, false}), "02 00 00 00 01 00", "00 00 00 02 01 00"},
        {hold(std::list<double>{}), "00 00 00 00", "00 00 00 00"},
        {hold(std::vector<std::string>{"a", ""}), "02 00 00 00 01 00 00 00 61 00 00 00 00",
         "00 00 00 02 00 00 00 01 61 00 00 00 00"},
        {hold(std::vector<float>{1.0f}), "01 00 00 00 00 00 80 3f", "00 00 00 01 3f 80 00 00"},
        {hold(std::vector<std::uint64_t>{1}), "01 00 00 00 01 00 00 00 00 00 00 00",
         "00 00 00 01 00 00 00 00 00 00 00 01"}};
    for (const auto& [value, noSwap, swapped] : table)
        EXPECT_EQ(bytesOf(*value, no_swap) + "|" + bytesOf(*value, swap), hex(noSwap) + "|" + hex(swapped));
    EXPECT_EQ(hold(std::vector<bool>(33, true))->sizeofT_imp(), 37u);

    // A string with zero bytes travels whole; a vector's bytes read back as a list.
    const std::string withNul("a\0b", 3), ints = bytesOf(*hold(std::vector<int>{7, -8, 9}), swap);
    size_t size = 0;
    EXPECT_EQ(Variant::deserialize("string", swap, bytesOf(*hold(withNul), swap).data(), size)->toString(), withNul);
    EXPECT_EQ(Variant::deserialize("listint32", swap, ints.data(), size)->toString(), "7;-8;9;");
    EXPECT_EQ(size, 16u);

    const std::pair<std::shared_ptr<Variant>, const char*> written[] = {
        {hold(std::vector<int>{1, 2, 3}), "1;2;3;"},
        {hold(std::list<bool>{true, false}), "1;0;"},
        {hold(std::vector<unsigned char>{200, 7}), "200;7;"},
        {hold(std::vector<double>{0.5, -1e300}), "0.5;-1e+300;"},
        {hold(std::list<int>{}), ""},
        {hold(std::list<char>{'a', ';'}), "a;;;"}};
    for (const auto& [value, text] : written) EXPECT_EQ(value->toString(), text);
    // Type, text read, the text of what was read.
    const char* read[][3] = {{"vecint32", "1;2;3;4", "1;2;3;"},  {"listint32", "7", ""},
                             {"vecint16", "0x10;16;", "16;16;"}, {"vecuint32", ";;", "0;0;"},
                             {"liststring", ";;", ";;"},         {"vecstring", "a;b;c;", "a;b;c;"},
                             {"string", " x;y ", " x;y "},       {"vecfloat", "", ""}};
    for (const auto& [type, text, back] : read) EXPECT_EQ(Variant::fromString(type, text)->toString(), back) << type;
    EXPECT_EQ(Variant::fromString("listchar", "a;;;")->value<std::list<char>>().size(), 3u);

    EXPECT_EQ(messageOf([] { hold(std::string("42"))->toInt32(); }), "std::string is not convertible to int");
    EXPECT_THROW(hold(std::vector<int>{})->toInt32(), zarvo::Exception);
    EXPECT_EQ(std::string(getStringFromType(typeid(const char*))), "string");

    const std::tuple<std::shared_ptr<Variant>, std::shared_ptr<Variant>, bool> equality[] = {
        {hold(std::vector<bool>{true}), hold(std::vector<bool>{true}), true},
        {hold(std::vector<bool>{true}), hold(std::list<bool>{true}), false},
        {hold(std::vector<float>{NAN}), hold(std::vector<float>{NAN}), false},
        {hold(std::list<std::string>{"a"}), hold(std::list<std::string>{"a", ""}), false}};
    for (const auto& [a, b, equal] : equality) EXPECT_EQ(a->equal_imp(b), equal) << a->toString();

    auto vector = std::make_shared<Variant_<std::vector<int>>>(std::vector<int>{5});
    vector->moveImpl(static_cast<std::vector<int>&&>(*static_cast<std::vector<int>*>(vector->address_imp())));
    EXPECT_EQ(vector->value<std::vector<int>>(), std::vector<int>{5});  // moving a vector into itself changes nothing
}
