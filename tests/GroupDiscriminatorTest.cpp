#include "core/datatypes/GroupDiscriminator.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;

TEST(GroupDiscriminator, SplitsAtTheFirstSeparatorOnly) {
    const char* table[][4] = {{"", "", "", ""},           {"abc", "abc", "", ""}, {"a.b", "a", "b", "g"},
                              {"a.b.c", "a", "b.c", "g"}, {".a", "", "a", "g"},   {"a.", "a", "", "g"},
                              {".", "", "", "g"},         {"..", "", ".", "g"}};
    for (const auto& [name, id, subId, group] : table) {
        const GroupItem<std::string> item = discriminate<std::string>(name);
        EXPECT_EQ(item.id + "|" + item.getSubId() + "|" + (item.isGroup ? "g" : "") + (item.isValid ? "" : "!"),
                  std::string(id) + "|" + subId + "|" + group);
    }
    EXPECT_EQ(discriminate("k\xb5v.w\xb5z", "\xb5").subId, "v.w\xb5z");
    for (const char* pattern : {"", ".."})
        EXPECT_EQ(testsupport::failureOf([&] { discriminate("", pattern); }),
                  "Paddern must be one char!|zarvo::exp::discriminate");
}
