#include "core/datatypes/DataDescriptor.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using Storage = DataStorage<std::string>;
using Group = std::shared_ptr<DataGroupDescriptor>;
using namespace testsupport;

namespace {

std::string flags(const DataDescriptor& d) {
    return std::string(d.isReadable() ? "r" : "-") + (d.isWritable() ? "w" : "-") + (d.isNotification() ? "n" : "-") +
           (d.isConstant() ? "c" : "-");
}

Storage options(std::initializer_list<std::pair<const char*, std::shared_ptr<Variant>>> entries) {
    Storage s;
    for (const auto& [key, value] : entries) s.insert(key, value);
    return s;
}

}  // namespace

TEST(DataDescriptor, FlagsOptionsAndRange) {
    const auto item = DataDescriptor::makeItem("gain", "int32");
    EXPECT_TRUE(flags(*item) == "rwn-" && item->getTypeInfo() == typeid(int) && !item->isGroup() && !item->parent());
    // Access flags or options given, the flags after them.
    const std::pair<std::function<void()>, const char*> steps[] = {
        {[&] { item->setAccessParameters(false, false, false, true); }, "r--c"},
        {[&] { item->setAccessParameters(false, true, false, true); }, "rw-c"},
        {[&] { item->setAccessParameters(true, true, true, false); }, "rwn-"},
        {[&] {
             item->setDescriptorOptions(options({{"ReadAccess", hold(false)}}));
         },
         "-wn-"},
        {[&] {
             item->setDescriptorOptions(options({{"WriteAccess", hold(false)}, {"Max", hold(10)}}));
         },
         "--n-"},
        {[&] { item->setDescriptorOptions(Storage()); }, "--n-"}};  // no access options: the flags stay
    for (const auto& [step, expected] : steps) {
        step();
        EXPECT_EQ(flags(*item), expected) << expected;
    }
    // A non-bool "WriteAccess" fails after the options were replaced and "ReadAccess" applied.
    const Storage badWrite = options({{"ReadAccess", hold(true)}, {"WriteAccess", hold(1)}});
    EXPECT_EQ(messageOf([&] { item->setDescriptorOptions(badWrite); }), "Variant-type (int)!= Template-type (bool)");
    EXPECT_TRUE(flags(*item) == "r-n-" && item->getOption("WriteAccess")->toInt32() == 1);

    const auto max = hold(4.5);
    item->setDescriptorOptions(options({{"Max", max}, {"range.Min", hold(0.0)}}));  // only the top level counts
    EXPECT_TRUE(item->getParameterRange().max == max && !item->getParameterRange().min);
}

TEST(DataDescriptor, GroupsNamesAndPrint) {
    const auto a = DataDescriptor::makeItem("a", "int32"), b = DataDescriptor::makeItem("b", "float");
    const Group g = DataDescriptor::makeGroup("g", {a, b});
    EXPECT_TRUE(g->isGroup() && g->getTypeName() == "DataStorage<std::string>" && g->getTypeInfo() == typeid(Storage));
    EXPECT_TRUE(a->parent() == g.get() && b->parent() == g.get() && !g->parent() && g->getGroupPtr() == g.get());
    EXPECT_EQ(failureOf([&] { a->getGroupPtr(); }),
              "this datum is not a group!|zarvo::exp::DataDescriptor::getGroupPtr");
    EXPECT_EQ(messageOf([&] { static_cast<const DataDescriptor&>(*a).getGroupPtr(); }), "this datum is not a group!");

    // An empty member is refused before any parent changes.
    const auto c = DataDescriptor::makeItem("c", "int8");
    EXPECT_EQ(failureOf([&] {
                  DataDescriptor::makeGroup("h", {c, nullptr});
              }),
              "empty member in group: h|zarvo::exp::DataGroupDescriptor::DataGroupDescriptor");
    EXPECT_EQ(failureOf([&] { g->addMember(nullptr); }),
              "empty member in group: g|zarvo::exp::DataGroupDescriptor::addMember");
    EXPECT_TRUE(c->parent() == nullptr && g->getMemberList().size() == 2u);

    const Group other = DataDescriptor::makeGroup("other", {});
    other->addMember(a);  // moves the parent, the old list keeps it
    EXPECT_TRUE(a->parent() == other.get() && g->getMemberList().front() == a);
    DataGroupDescriptor copy(*g);
    EXPECT_TRUE(copy.getMemberList() == g->getMemberList() && b->parent() == g.get());

    const Group root = DataDescriptor::makeGroup("root", {g});
    const auto single = DataDescriptor::makeItem("single", "bool");
    const std::tuple<const DataDescriptor*, const char*, const char*, const char*> names[] = {
        {b.get(), "", "/", "g.b"},    {g.get(), "", "/", "g"},      {root.get(), "", "/", "root"},
        {b.get(), "x", "/", "g.b/x"}, {g.get(), "x", "::", "g::x"}, {single.get(), "", ".", "single"},
        {single.get(), "x", ".", "x"}};
    for (const auto& [item, tail, separator, expected] : names)
        EXPECT_EQ(DataDescriptor::getFullQualifiedItemName(item, tail, separator), expected) << expected;
    EXPECT_EQ(failureOf([] { DataDescriptor::getFullQualifiedItemName(nullptr, "", "."); }),
              "item is nullptr|zarvo::exp::DataDescriptor::getFullQualifiedItemName");

    const Group empty = DataDescriptor::makeGroup("empty", {});
    const Group optics = DataDescriptor::makeGroup("optics", {DataDescriptor::makeItem("focus", "double"), empty});
    const Group device = DataDescriptor::makeGroup(
        "device", {DataDescriptor::makeItem("serial", "int32"), optics, DataDescriptor::makeItem("mode", "string")});
    testing::internal::CaptureStdout();
    empty->print(">");
    device->print("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "serial  =  int\nGroup: optics\n   focus  =  double\n   Group: empty\n"
              "\n\nmode  =  std::string\n");

    // An item of the storage type counts as a group: its line comes, then the failure.
    static const TypeObject_<Storage> storageType("storage");
    const Group holder = DataDescriptor::makeGroup("h", {DataDescriptor::makeItemFromType("raw", storageType)});
    testing::internal::CaptureStdout();
    const std::string failure = messageOf([&] { holder->print("  "); });
    EXPECT_EQ(testing::internal::GetCapturedStdout() + failure, "  Group: raw\nthis datum is not a group!");
}
