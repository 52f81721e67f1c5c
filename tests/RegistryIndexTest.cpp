#include "core/datatypes/RegistryIndex.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace zarvo::exp;

namespace {
struct First {};
struct Second {};
}  // namespace

// Names of every length class the hash reads differently (none, 1-3, 4-7, 8 and more
// bytes), many sharing their first or last eight bytes, beyond the first table's 64 slots.
TEST(RegistryIndex, FindsEveryNameAfterGrowingAndRefusesRepeats) {
    std::vector<std::string> names{"", "a", "ab", "abc", "abcd", "abcdefg", "abcdefgh", "abcdefghi"};
    for (int i = 0; i < 150; ++i) names.push_back("listuint" + std::to_string(i) + "cvmatcvmat");
    std::vector<int> values(names.size());
    RegistryIndex<std::string_view, int> index;
    EXPECT_EQ(index.find("a"), nullptr);
    for (size_t i = 0; i < names.size(); ++i) EXPECT_TRUE(index.insert(names[i], &values[i])) << names[i];
    for (size_t i = 0; i < names.size(); ++i) EXPECT_EQ(index.find(names[i]), &values[i]) << names[i];

    int other = 0;
    EXPECT_FALSE(index.insert(std::string_view("abcx", 3), &other));  // "abc" again, not NUL-terminated
    EXPECT_EQ(index.find("abc"), &values[3]);
    for (const char* miss : {"abcde", "b", "listuint1cvmatcvma", "listuint150cvmatcvmat", "ABC"})
        EXPECT_EQ(index.find(miss), nullptr) << miss;
    index.release();
    EXPECT_EQ(index.find("abc"), nullptr);
}

// Types by name and by address: a type is one key however it is reached, two types are two.
TEST(RegistryIndex, TypesByNameAndByAddress) {
    int first = 1, second = 2;
    RegistryIndex<const std::type_info*, int> byName;
    RegistryIndex<const void*, int> byAddress;
    EXPECT_TRUE(byName.insert(&typeid(First), &first) && byName.insert(&typeid(Second), &second));
    EXPECT_TRUE(byAddress.insert(&typeid(First), &first) && byAddress.insert(&typeid(Second), &second));
    EXPECT_FALSE(byName.insert(&typeid(const First), &second));
    EXPECT_TRUE(byName.find(&typeid(Second)) == &second && byAddress.find(&typeid(First)) == &first);
    EXPECT_TRUE(byName.find(&typeid(int)) == nullptr && byAddress.find(&first) == nullptr);
    byName.release();
    byAddress.release();
}
