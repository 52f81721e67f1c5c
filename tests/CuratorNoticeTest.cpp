#include <stdexcept>

#include "core/datatypes/CuratorStorage.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

using Ids = std::vector<unsigned int>;
using Change = Curator::Change;

const char* nameOf(Change change) {
    return change == Change::Set ? "Set" : change == Change::Invalidated ? "Invalidated" : "Refused";
}

// Curators 0..n-1 of type int holding their ids, each listing its dependents; curator 0
// refuses negative values.
struct Storage {
    explicit Storage(const std::vector<Ids>& depends) : storage(static_cast<unsigned int>(depends.size())) {
        for (unsigned int id = 0; id < depends.size(); ++id) storage.addCurator<int>(id).set(hold(int(id)));
        for (unsigned int id = 0; id < depends.size(); ++id) storage.replaceDepends(id, depends[id]);
        storage.find(0)->setValidator([](const std::shared_ptr<Variant>& value) { return value->toInt32() >= 0; });
    }
    // Per slot "1" if the curator holds a value, "-" if not.
    std::string cached() {
        std::string held;
        for (unsigned int id = 0; id < storage.getCuratorCount(); ++id) held += storage.find(id)->get() ? "1" : "-";
        return held;
    }
    // Logs "id Change cached;" for every notice from now on.
    Subscription logAll() {
        return storage.subscribeAll([this](unsigned int id, Change change) {
            log += std::to_string(id) + " " + nameOf(change) + " " + cached() + ";";
        });
    }
    CuratorStorage storage;
    std::string log;
};

}  // namespace

TEST(CuratorNotice, OncePerCuratorInFirstReachedOrderAfterTheOperation) {
    const std::vector<Ids> chain{{1}, {2}, {}}, diamond{{1, 2}, {3}, {3}, {4}, {}}, broken{{1, 2}, {9}, {}};
    // Graph, operation, what it throws, the notices with what each callback found cached.
    const std::tuple<std::vector<Ids>, std::function<void(CuratorStorage&)>, std::string, std::string> cases[] = {
        {chain, [](CuratorStorage& s) { s.set(0, hold(7)); }, "(no exception)",
         "0 Set 1--;1 Invalidated 1--;2 Invalidated 1--;"},
        {chain, [](CuratorStorage& s) { s.find(1)->invalidate(); }, "(no exception)",
         "1 Invalidated 1--;2 Invalidated 1--;"},
        {diamond, [](CuratorStorage& s) { s.find(0)->invalidate(); }, "(no exception)",  // 3 and 4 reached twice
         "0 Invalidated -----;1 Invalidated -----;3 Invalidated -----;4 Invalidated -----;2 Invalidated -----;"},
        {chain, [](CuratorStorage& s) { s.set(0, hold(-1)); }, "New value is not valid!",
         "0 Refused ---;1 Invalidated ---;2 Invalidated ---;"},
        {broken, [](CuratorStorage& s) { s.set(0, hold(5)); }, "No Curator available for requested ID! ID = 9",
         "1 Invalidated 1-1;"},  // the walk stopped: 0 keeps its old value, unannounced
        {chain, [](CuratorStorage& s) { s.set(0, hold(2.5)); },
         "Datatype of new data does not match and no conversion is available! \ncurator type:int variable type: double",
         ""},
        {chain, [](CuratorStorage& s) { s.setGenerator(2, [] { return hold(1); }), s.find(2)->invalidate(), s.get(2); },
         "(no exception)", "2 Invalidated 111;"},  // the log's own read generates 2: no change either
    };
    for (const auto& [depends, operation, thrown, notices] : cases) {
        Storage storage(depends);
        const Subscription all = storage.logAll();
        EXPECT_EQ(messageOf([&, &run = operation] { run(storage.storage); }), thrown);
        EXPECT_EQ(storage.log, notices);
    }

    Curator_<int> curator;  // on its own: id 0
    std::string log;
    Subscription subscription =
        curator.subscribe([&](unsigned int id, Change change) { log += std::to_string(id) + nameOf(change) + ";"; });
    curator.setValidator([](const std::shared_ptr<Variant>& value) { return value->toInt32() >= 0; });
    curator.set(hold(1)), curator.invalidate(), messageOf([&] { curator.set(hold(-1)); });
    Curator_<int> copy(curator);  // subscriptions stay with the original
    copy.set(hold(2));
    EXPECT_EQ(log, "0Set;0Invalidated;0Refused;");
    EXPECT_EQ(failureOf([&] { Storage(std::vector<Ids>{{}}).storage.subscribe(1, nullptr); }),
              "No Curator available for requested ID! ID = 1|zarvo::exp::CuratorStorage::find");
}

TEST(CuratorNotice, CallbacksMayReenterAndTheirNoticesComeInTheNextRound) {
    // Each case subscribes what it needs on a chain 0 -> 1 -> 2 and curator 3 on its own,
    // beside a log of every notice, then runs set(0, 5) twice.
    const std::pair<std::function<std::vector<Subscription>(Storage&)>, std::string> cases[] = {
        {[](Storage& s) {  // set in a callback: returns before its notices go out
             std::vector<Subscription> held;
             held.push_back(s.storage.subscribe(
                 1, [&s](unsigned int, Change) { s.storage.set(3, hold(9)), s.log += "set 3 returned;"; }));
             return held;
         },
         "0 Set 1--1;set 3 returned;1 Invalidated 1--1;2 Invalidated 1--1;3 Set 1--1;"
         "0 Set 1--1;set 3 returned;1 Invalidated 1--1;2 Invalidated 1--1;3 Set 1--1;"},
        {[](Storage& s) {  // unsubscribe self: heard once
             auto held = std::make_shared<std::vector<Subscription>>(1);
             (*held)[0] =
                 s.storage.subscribe(2, [&s, held](unsigned int, Change) { s.log += "once;", (*held)[0].reset(); });
             return std::vector<Subscription>{};
         },
         "0 Set 1--1;1 Invalidated 1--1;once;2 Invalidated 1--1;0 Set 1--1;1 Invalidated 1--1;2 Invalidated 1--1;"},
        {[](Storage& s) {  // unsubscribe another, later in the same round: never called
             std::vector<Subscription> held(2);
             held[0] = s.storage.subscribe(1, [&other = held[1]](unsigned int, Change) { other.reset(); });
             held[1] = s.storage.subscribe(2, [&s](unsigned int, Change) { s.log += "other;"; });
             return held;
         },
         "0 Set 1--1;1 Invalidated 1--1;2 Invalidated 1--1;0 Set 1--1;1 Invalidated 1--1;2 Invalidated 1--1;"},
        {[](Storage& s) {  // subscribe during delivery: heard from the next operation on
             auto held = std::make_shared<std::vector<Subscription>>();
             held->push_back(s.storage.subscribe(0, [&s, held](unsigned int, Change) {
                 if (held->size() == 1)
                     held->push_back(s.storage.subscribe(2, [&s](unsigned int, Change) { s.log += "new;"; }));
             }));
             return std::vector<Subscription>{};
         },
         "0 Set 1--1;1 Invalidated 1--1;2 Invalidated 1--1;0 Set 1--1;1 Invalidated 1--1;new;2 Invalidated 1--1;"},
    };
    for (const auto& [subscribe, log] : cases) {
        Storage storage({{1}, {2}, {}, {}});
        const Subscription all = storage.logAll();
        const std::vector<Subscription> held = subscribe(storage);
        storage.storage.set(0, hold(5)), storage.storage.set(0, hold(5));
        EXPECT_EQ(storage.log, log);
    }
}

TEST(CuratorNotice, LoopsEndAfterBoundedRoundsAndThrowingCallbacksLetTheOthersRun) {
    // Callbacks that set each other, or themselves, never settle.
    const std::tuple<Ids, std::string> loops[] = {{{1, 0}, "0, 1"}, {{0}, "0"}};
    for (const auto& [next, ids] : loops) {
        Storage storage({{}, {}});
        int rounds = 0;
        std::vector<Subscription> held;
        for (unsigned int id = 0; id < next.size(); ++id)
            held.push_back(storage.storage.subscribe(
                id, [&, to = next[id]](unsigned int, Change) { ++rounds, storage.storage.set(to, hold(rounds)); }));
        EXPECT_EQ(
            failureOf([&] { storage.storage.set(0, hold(0)); }),
            "Change notices did not settle after 100 rounds! IDs = " + ids + "|zarvo::exp::ChangeNotifier::deliver");
        EXPECT_EQ(rounds, 100);
        EXPECT_EQ(storage.storage.get(0)->toInt32() + storage.storage.get(1)->toInt32(), next.size() == 2 ? 199 : 101);
        held.clear(), storage.storage.set(0, hold(3));  // settled again
    }

    // Three callbacks, two throwing: all run, the first exception arrives after them.
    Storage storage({{1}, {}});
    std::vector<Subscription> held;
    held.push_back(storage.storage.subscribe(0, [&](unsigned int, Change) { storage.log += "a;"; }));
    held.push_back(storage.storage.subscribe(
        0, [&](unsigned int, Change) { storage.log += "b;", throw std::runtime_error("b"); }));
    held.push_back(storage.storage.subscribe(1, [&](unsigned int, Change) {
        storage.log += "c;";
        ZARVO_THROW("c");
    }));
    EXPECT_THROW(storage.storage.set(0, hold(4)), std::runtime_error);
    EXPECT_EQ(storage.log + storage.cached() + std::to_string(storage.storage.get(0)->toInt32()), "a;b;c;1-4");
    storage.log.clear();
    EXPECT_EQ(messageOf([&] { storage.storage.set(0, hold(-4)); }), "New value is not valid!");  // the refusal wins
    EXPECT_EQ(storage.log + storage.cached(), "a;b;c;--");
}

TEST(CuratorNotice, SubscriptionsOutliveTheirStorageAndMove) {
    auto storage = std::make_unique<Storage>(std::vector<Ids>{{}});
    int heard = 0;
    Subscription first = storage->storage.subscribe(0, [&](unsigned int, Change) { ++heard; });
    Subscription second = storage->storage.subscribeAll([&](unsigned int, Change) { heard += 10; });
    Subscription slot = storage->storage.find(0)->subscribe([&](unsigned int, Change) { heard += 100; });
    Subscription moved(std::move(first));
    storage->storage.set(0, hold(1));
    second = std::move(moved);  // ends the subscription second held
    storage->storage.set(0, hold(1));
    EXPECT_TRUE(heard == 212 && !first && second);
    auto curator = std::make_unique<Curator_<int>>();
    Subscription own = curator->subscribe([](unsigned int, Change) {});
    storage.reset(), curator.reset();
    EXPECT_TRUE(!second && !own && !slot);
    second.reset(), own.reset();  // nothing left to unsubscribe from
}
