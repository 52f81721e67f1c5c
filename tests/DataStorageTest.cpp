#include "core/datatypes/DataStorage.h"
#include "core/datatypes/VersionExtended.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using Storage = DataStorage<std::string>;
using namespace testsupport;

const std::string kStorage = "zarvo::exp::DataStorage<std::string>";

TEST(DataStorage, KeyedOperationsAndCopies) {
    Storage s;
    const auto one = hold(1);
    EXPECT_EQ(s.get("a.b.c"), nullptr);
    EXPECT_EQ(s.insert("a.b.c", one).first->first, "a");  // the new group at the level that existed
    EXPECT_EQ(s.insert("a.b.d", hold(2)).first->first, "d");
    const auto again = s.insert("a.b.c", hold(3));
    EXPECT_TRUE(!again.second && again.first->second == one && !s.insert("a", hold(4)).second);
    EXPECT_TRUE(s.insert("", hold(5)).second && s.insert("e.", hold(6)).second);
    EXPECT_EQ(s.get("e.")->toInt32() + s.get("")->toInt32(), 11);
    EXPECT_TRUE(s.get("a.b.c") == one && s.get("a.b")->getTypeInfo() == typeid(Storage) && !s.get("a.x.y"));
    std::string keys;
    for (const auto& entry : s) keys += "[" + entry.first + "]";
    EXPECT_EQ(keys, "[][a][e]");
    EXPECT_TRUE(s.erase("a.b.c") && s.erase("a.b.d") && s.erase("a.q.z") && s.erase("nothing"));
    EXPECT_TRUE(s.size() == 3u && s.get("a.b")->value<Storage>().size() == 0u);  // emptied groups stay
    const std::shared_ptr<Variant> groupA = s.get("a"), leafE = s.get("e.");
    const Storage* nested = Storage::groupOf(std::as_const(*groupA));
    EXPECT_TRUE(nested != nullptr && Storage::groupOf(*groupA) == nested && nested->get("b") == s.get("a.b"));
    EXPECT_TRUE(Storage::groupOf(*leafE) == nullptr && Storage::groupOf(std::as_const(*one)) == nullptr);
    EXPECT_TRUE(s.erase("a") && s.get("a.b") == nullptr);

    s.insert("g.v", hold(1)), s.insert("p", hold(2.5));
    const Storage before(s);
    const std::string at = "|zarvo::exp::DataStorage<std::__cxx11::basic_string<char> >::";
    EXPECT_EQ(failureOf([&] { s.insert("p.x.y", hold(1)); }), "not a valid storage type: p" + at + "insert");
    EXPECT_EQ(failureOf([&] { s.erase("g.v.w"); }), "not a valid storage type: v" + at + "erase");
    EXPECT_EQ(failureOf([&] { s.get("p.x"); }),
              "not a valid storage type: p\ntype: double\nexpected type: " + kStorage + at + "get");
    EXPECT_EQ(messageOf([&] { s.insert("new.k", nullptr); }), "empty value for key: new.k");
    EXPECT_TRUE(s == before);

    Storage source, assigned;
    source.insert("g.h.leaf", hold(7));
    source.insert("top", hold(8));
    assigned.insert("old", hold(0));
    assigned = source;
    const std::unique_ptr<DataStorageBase> cloned(source.clone());
    for (const DataStorageBase* copy : {static_cast<DataStorageBase*>(&assigned), cloned.get()}) {
        const Storage& c = dynamic_cast<const Storage&>(*copy);
        EXPECT_TRUE(c == source && c.get("top") == source.get("top") && c.get("g.h.leaf") == source.get("g.h.leaf"));
        EXPECT_TRUE(c.get("g") != source.get("g") && c.get("g.h") != source.get("g.h"));
    }
    assigned.insert("g.h.extra", hold(9));
    const auto group = source.get("g");
    source = source;
    EXPECT_TRUE(source.get("g") == group && source.get("g.h.extra") == nullptr);
    source = *static_cast<Storage*>(group->address_imp());  // from one of its own groups
    EXPECT_EQ(source.get("h.leaf")->toInt32(), 7);
}

TEST(DataStorage, ContainsEqualityAndByteForm) {
    Storage a, b;
    EXPECT_TRUE(!a.contains(b) && a == b);
    a.insert("x", hold(1));
    a.insert("y", hold(2.0));
    b.insert("y", hold(2.0));
    b.insert("x", hold(1));
    EXPECT_TRUE(a.contains(b) && a == b);
    b.erase("y");
    EXPECT_TRUE(a.contains(b) && !b.contains(a) && !(a == b));
    EXPECT_FALSE(a.contains(Storage::Map{{"x", hold(1u)}}));  // same text, other type
    a.insert("g.z", hold(3));
    b = a;
    b.erase("g.z");
    b.insert("g.z", hold(3.0));
    EXPECT_FALSE(hold(a)->equal_imp(hold(b)));  // equality goes into groups
    EXPECT_EQ(messageOf([&] { a.contains(a); }), "type '" + kStorage + "' can not be serialized to string");

    Storage s;
    s.insert("a", hold(1));
    const std::shared_ptr<Variant> holder = hold(s);
    const std::string swapped(
        "\0\0\0\0\0\0\0\1"
        "\0\0\0\1"
        "a"
        "\0\0\0\5"
        "int32"
        "\0\0\0\1",
        26);
    EXPECT_EQ(bytesOf(*holder, no_swap),
              hex("01 00 00 00 00 00 00 00 01 00 00 00") + "a" + hex("05 00 00 00") + "int32" + hex("01 00 00 00"));
    EXPECT_EQ(bytesOf(*holder, swap), swapped);
    size_t size = 0;
    EXPECT_TRUE(Variant_<Storage>::deserialize_imp(swap, swapped.data(), size)->equal_imp(holder) && size == 26u);
    s.insert("g.v", hold(1));  // a group needs the holder type registered
    EXPECT_EQ(messageOf([&] { hold(s)->sizeofT_imp(); }), "Unknown type id: " + kStorage);
}

// The holder's registration, each case in a fresh process (the registry is one per
// process): what is registered before decides the result, and a second call changes
// nothing and prints nothing.
TEST(DataStorage, StorageRegistrationOnceWhateverCameBefore) {
    const struct {
        std::function<void()> before;
        const char* name;  // the entry's name, nullptr for no entry
        size_t added;      // names the first call adds
    } cases[] = {{[] {}, "storage", 1},
                 {[] { TypeObject::create<Storage>("group"); }, "group", 0},
                 {[] { TypeObject::create<VersionExtended>("storage"); }, nullptr, 0}};
    for (const auto& [before, name, added] : cases) {
        const auto child = [&, name = name, added = added] {
            before();
            const size_t registered = TypeObject::typeStrings().size();
            testing::internal::CaptureStdout();
            const TypeObject* first = registerStorageType();
            const TypeObject* second = registerStorageType();
            const bool quiet = testing::internal::GetCapturedStdout().empty();
            const bool entry = first == TypeObject::findP(typeid(Storage)) &&
                               (name == nullptr ? first == nullptr : first->getTypeString() == std::string(name));
            return entry && second == first && quiet && TypeObject::typeStrings().size() == registered + added;
        };
        EXPECT_EXIT(std::exit(child() ? 0 : 1), testing::ExitedWithCode(0), "") << (name ? name : "(name taken)");
    }
    // A group now has a byte form, and reads back by the name.
    EXPECT_EXIT(
        {
            registerStorageType();
            Storage s;
            s.insert("g.v", hold(1));
            size_t size = 0;
            const std::string bytes = bytesOf(*hold(s), swap);
            std::exit(Storage::deserialize(swap, bytes.data(), bytes.size(), size) == s ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
