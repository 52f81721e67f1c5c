#include <gtest/gtest.h>

#include "core/datatypes/GroupDiscriminator.h"
#include "valuefault/Exception.h"

using namespace zarvo::exp;

TEST(GroupDiscriminator, SplitsAtTheFirstSeparatorOnly) {
    const char* table[][4] = {{"", "", "", ""},       {"abc", "abc", "", ""}, {"a.b", "a", "b", "g"},
                              {"a.b.c", "a", "b.c", "g"}, {".a", "", "a", "g"},   {"a.", "a", "", "g"},
                              {".", "", "", "g"},       {"..", "", ".", "g"}};
    for (const auto& row : table) {
        const GroupItem<std::string> item = discriminate<std::string>(row[0]);
        EXPECT_EQ(item.id + "|" + item.getSubId() + "|" + (item.isGroup ? "g" : ""), std::string(row[1]) + "|" + row[2] + "|" + row[3]);
        EXPECT_TRUE(item.isValid);
    }
    EXPECT_FALSE(GroupItem<std::string>().isValid);
    EXPECT_EQ(discriminate("k\xb5v.w\xb5z", "\xb5").subId, "v.w\xb5z");
    for (const char* pattern : {"", ".."}) {
        try {
            discriminate("", pattern);
            ADD_FAILURE() << "no throw";
        } catch (const zarvo::Exception& error) {
            EXPECT_EQ(error.message(), "Paddern must be one char!");
            EXPECT_EQ(error.where().substr(error.where().rfind(": ")), ": zarvo::exp::discriminate(..)\n");
        }
    }
}
