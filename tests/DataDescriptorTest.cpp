#include <array>

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

const std::string kNotGroup = "this datum is not a group!|zarvo::exp::DataDescriptor::getGroupPtr";

}  // namespace

TEST(DataDescriptor, FlagsAndOptions) {
    const auto item = DataDescriptor::makeItem("gain", "int32");
    EXPECT_EQ(flags(*item), "rwn-");
    EXPECT_TRUE(item->getTypeName() == "int32" && item->getTypeInfo() == typeid(int) && !item->isGroup());
    EXPECT_EQ(item->parent(), nullptr);
    EXPECT_EQ(messageOf([] { DataDescriptor::makeItem("x", "Int32"); }).rfind("Unknown type string: Int32", 0), 0u);

    const std::pair<std::array<bool, 4>, const char*> accessTable[] = {{{false, false, false, true}, "r--c"},
                                                                       {{false, true, false, true}, "rw-c"},
                                                                       {{false, false, true, false}, "--n-"}};
    for (const auto& [access, expected] : accessTable) {
        item->setAccessParameters(access[0], access[1], access[2], access[3]);
        EXPECT_EQ(flags(*item), expected);
    }

    item->setAccessParameters(true, true, true, false);
    item->setDescriptorOptions(options({{"ReadAccess", hold(false)}}));
    EXPECT_EQ(flags(*item), "-wn-");
    Storage writeOff = options({{"WriteAccess", hold(false)}, {"Max", hold(10)}});
    item->setDescriptorOptions(std::move(writeOff));
    EXPECT_EQ(writeOff.size(), 2u);  // copied, not taken
    EXPECT_EQ(flags(*item), "--n-");
    item->setDescriptorOptions(Storage());  // no access options: the flags stay
    EXPECT_EQ(flags(*item), "--n-");
    item->setDescriptorOptions(options({{"ReadAccess", hold(true)}, {"WriteAccess", hold(true)}}));
    item->setAccessParameters(false, false, true, false);  // overrules the options, which stay
    EXPECT_TRUE(flags(*item) == "--n-" && item->getOption("ReadAccess")->value<bool>());

    // A non-bool "WriteAccess": options replaced and "ReadAccess" applied before the failure.
    const Storage badWrite = options({{"ReadAccess", hold(true)}, {"WriteAccess", hold(1)}});
    EXPECT_EQ(messageOf([&] { item->setDescriptorOptions(badWrite); }), "Variant-type (i)!= Template-type (b)");
    EXPECT_TRUE(flags(*item) == "r-n-" && item->getOption("WriteAccess")->toInt32() == 1);
}

TEST(DataDescriptor, ParameterRangeSharesTheOptions) {
    const auto item = DataDescriptor::makeItem("gain", "double");
    const ParameterRange none = item->getParameterRange();
    EXPECT_TRUE(!none.min && !none.max && !none.step);
    const auto max = hold(4.5);
    item->setDescriptorOptions(options({{"Max", max}, {"range.Min", hold(0.0)}}));
    const ParameterRange onlyMax = item->getParameterRange();
    EXPECT_TRUE(onlyMax.max == max && !onlyMax.min && !onlyMax.step);
    EXPECT_EQ(item->getOption("range.Min")->toDouble(), 0.0);
}

TEST(DataDescriptor, GroupsOwnMembersThatPointBack) {
    const auto a = DataDescriptor::makeItem("a", "int32"), b = DataDescriptor::makeItem("b", "float");
    const Group g = DataDescriptor::makeGroup("g", {a, b});
    const DataDescriptor& asBase = *g;
    EXPECT_TRUE(g->isGroup() && g->getTypeName() == "DataStorage<std::string>");
    EXPECT_TRUE(g->getTypeInfo() == typeid(Storage) && g->getGroupPtr() == g.get() && asBase.getGroupPtr() == g.get());
    EXPECT_TRUE(a->parent() == g.get() && b->parent() == g.get() && g->parent() == nullptr);
    EXPECT_EQ(failureOf([&] { a->getGroupPtr(); }), kNotGroup);
    EXPECT_EQ(failureOf([&] { static_cast<const DataDescriptor&>(*a).getGroupPtr(); }), kNotGroup);

    // An empty member is refused before any parent changes.
    const auto c = DataDescriptor::makeItem("c", "int8");
    EXPECT_EQ(failureOf([&] { DataDescriptor::makeGroup("h", {c, nullptr}); }),
              "empty member in group: h|zarvo::exp::DataGroupDescriptor::DataGroupDescriptor");
    EXPECT_EQ(failureOf([&] { g->addMember(nullptr); }),
              "empty member in group: g|zarvo::exp::DataGroupDescriptor::addMember");
    EXPECT_TRUE(c->parent() == nullptr && g->getMemberList().size() == 2u);

    const Group other = DataDescriptor::makeGroup("other", {});
    other->addMember(a);  // moves the parent, the old list keeps it
    EXPECT_TRUE(a->parent() == other.get() && g->getMemberList().front() == a);

    DataGroupDescriptor copy(*g);
    EXPECT_TRUE(copy.getMemberList() == g->getMemberList() && b->parent() == g.get());
    DataGroupDescriptor moved(std::move(copy));
    EXPECT_TRUE(copy.getMemberList().empty() && moved.getMemberList().size() == 2u && b->parent() == g.get());
    EXPECT_EQ(copy.getName(), "g");
}

TEST(DataDescriptor, FullQualifiedItemName) {
    const auto b = DataDescriptor::makeItem("b", "int32");
    const Group a = DataDescriptor::makeGroup("a", {b});
    const Group root = DataDescriptor::makeGroup("root", {a});
    const auto single = DataDescriptor::makeItem("single", "bool");
    const std::tuple<const DataDescriptor*, const char*, const char*, const char*> table[] = {
        {b.get(), "", "/", "a.b"},         {a.get(), "", "/", "a"},      {root.get(), "", "/", "root"},
        {b.get(), "x", "/", "a.b/x"},      {root.get(), "x", "/", "x"},  {a.get(), "x", "::", "a::x"},
        {single.get(), "", ".", "single"}, {single.get(), "x", ".", "x"}};
    for (const auto& [item, tail, separator, expected] : table)
        EXPECT_EQ(DataDescriptor::getFullQualifiedItemName(item, tail, separator), expected) << expected;
    EXPECT_EQ(failureOf([] { DataDescriptor::getFullQualifiedItemName(nullptr, "", "."); }),
              "item is nullptr|zarvo::exp::DataDescriptor::getFullQualifiedItemName");
}

TEST(DataDescriptor, PrintWritesTheTree) {
    const Group empty = DataDescriptor::makeGroup("empty", {});
    const Group optics = DataDescriptor::makeGroup("optics", {DataDescriptor::makeItem("focus", "double"), empty});
    const Group device = DataDescriptor::makeGroup(
        "device", {DataDescriptor::makeItem("serial", "int32"), optics, DataDescriptor::makeItem("mode", "string")});
    testing::internal::CaptureStdout();
    empty->print(">");
    device->print("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string("serial  =  i\nGroup: optics\n   focus  =  d\n") +
                  "   Group: empty\n\n\nmode  =  " + typeid(std::string).name() + "\n");

    // An item of the storage type counts as a group: its line comes, then the failure.
    static const TypeObject_<Storage> storageType("storage");
    const Group holder = DataDescriptor::makeGroup("h", {DataDescriptor::makeItemFromType("raw", storageType)});
    testing::internal::CaptureStdout();
    const std::string failure = failureOf([&] { holder->print("  "); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "  Group: raw\n");
    EXPECT_EQ(failure, kNotGroup);
}
