#include <gtest/gtest.h>

#include <cstring>

#include "core/datatypes/CuratorStorage.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

// "message|function" of what action throws.
template <class F>
std::string failureOf(F&& action) {
    const zarvo::Exception error = errorOf(std::forward<F>(action));
    return error.where().empty() ? error.message() : error.message() + "|" + functionOf(error);
}

const std::string kAt = "|zarvo::exp::CuratorStorage::";

// Curators 0..n-1 of type int, each holding its id, then listing its dependents.
void fill(CuratorStorage& storage, const std::vector<std::vector<unsigned int>>& depends) {
    for (unsigned int id = 0; id < depends.size(); ++id) storage.addCurator<int>(id).set(hold(int(id)));
    for (unsigned int id = 0; id < depends.size(); ++id) storage.replaceDepends(id, depends[id]);
}

// Which of the curators still hold a value, as "1" or "-" per slot.
std::string cached(CuratorStorage& storage) {
    std::string held;
    for (unsigned int id = 0; id < storage.getCuratorCount(); ++id) held += storage.find(id)->get() ? "1" : "-";
    return held;
}

// Replaces curator id by one that writes its id to log on each invalidation and then
// lets the storage walk its list, as the replaced curator would.
void spy(CuratorStorage& storage, unsigned int id, std::string& log) {
    const Curator_<int> relay = static_cast<Curator_<int>&>(*storage.find(id));
    storage.find(id) = std::make_unique<Curator_<int>>(
        [&log, id, relay](const std::vector<unsigned int>&) { log += std::to_string(id), Curator_<int>(relay).invalidate(); },
        relay.getDepends());
}

std::uint32_t bitsOf(float value) {
    std::uint32_t word;
    std::memcpy(&word, &value, 4);
    return word;
}

}  // namespace

TEST(CuratorStorage, SlotsAndTheirFailures) {
    CuratorStorage storage(5);
    EXPECT_EQ(storage.getCuratorCount(), 5u);
    storage.addCurator<int>(1);
    storage.addCurator<double>(3).set(hold(0.5));
    EXPECT_EQ(storage.get(3)->toDouble(), 0.5);
    EXPECT_EQ(storage.find(1)->get(), nullptr);  // quietly, where the storage reports
    storage.removeCurator(3);
    storage.removeCurator(3);
    EXPECT_EQ(storage.getCuratorCount(), 5u);
    const std::pair<std::function<void()>, std::string> failures[] = {
        {[&] { storage.find(5); }, "No Curator available for requested ID! ID = 5" + kAt + "find"},
        {[&] { storage.set(3, hold(1)); }, "Try to access empty curator! ID = 3" + kAt + "find"},
        {[&] { storage.get(1); }, "No data available for requested curator: ID = 1" + kAt + "get"},
        {[&] { storage.removeCurator(17); }, "ID: 17does not exits!" + kAt + "removeCurator"},
        {[&] { storage.addCurator<int>(5); }, "No Curator available for requested ID! ID = 5" + kAt + "addCurator"},
        {[&] { storage.addCurator<int>(1); }, "Curator slot is already in use! ID = 1" + kAt + "addCurator"},
        {[&] { storage.setSourceFile(9, "a"); }, "No file loader available for that curator storage!" + kAt + "setSourceFile"},
        {[&] { storage.setConverterMarkedFloat(1); },
         "MarkedFloat Converter can only be used with float or MarkedFloat types!Not with Typename: i" + kAt + "setConverterMarkedFloat"},
        {[&] { storage.setMatValidator(1, 1, 1, CV_8UC1); },
         "Data type does not match! Validator type: N2cv3MatE!= Curator type: i)!" + kAt + "setMatValidator"},
        {[] { CuratorStorage().find(0); }, "No Curator available for requested ID! ID = 0" + kAt + "find"},
    };
    for (const auto& [action, failure] : failures) EXPECT_EQ(failureOf(action), failure);
}

TEST(CuratorStorage, InvalidationWalksDepthFirst) {
    CuratorStorage chain(3);
    fill(chain, {{1}, {2}, {}});
    chain.find(2)->invalidate();
    EXPECT_EQ(cached(chain), "11-");
    chain.find(0)->invalidate();
    EXPECT_EQ(cached(chain), "---");

    // 0 lists 1 and 2, 1 lists 2: 2 and what it lists are walked twice.
    CuratorStorage storage(4);
    fill(storage, {{1, 2}, {2}, {3}, {}});
    std::string log;
    for (unsigned int id = 0; id < 4; ++id) spy(storage, id, log);
    storage.find(0)->invalidate();
    EXPECT_EQ(log, "012323");
    log.clear();
    storage.set(1, hold(5));  // a new value tells the dependents too
    EXPECT_EQ(log, "123");

    // A missing dependent stops the walk where it is met.
    for (unsigned int id = 0; id < 3; ++id) chain.set(id, hold(1));
    chain.replaceDepends(0, {1, 2});
    chain.replaceDepends(1, {9});  // taken as it is; only the walk meets it
    EXPECT_EQ(failureOf([&] { chain.find(0)->invalidate(); }), "No Curator available for requested ID! ID = 9" + kAt + "find");
    EXPECT_EQ(cached(chain), "--1");
    chain.replaceDepends(1, {2});
    chain.removeCurator(2);
    EXPECT_EQ(failureOf([&] { chain.set(0, hold(1)); }), "Try to access empty curator! ID = 2" + kAt + "find");
}

TEST(CuratorStorage, CyclesAreReportedAndLongChainsWalked) {
    CuratorStorage storage(3);
    fill(storage, {{0}, {2}, {1}});
    const std::string cyclic = "Cyclic curator dependency! ID = ";
    EXPECT_EQ(failureOf([&] { storage.find(0)->invalidate(); }), cyclic + "0" + kAt + "invalidateDepends");
    EXPECT_EQ(failureOf([&] { storage.find(1)->invalidate(); }), cyclic + "1" + kAt + "invalidateDepends");
    EXPECT_EQ(failureOf([&] { storage.set(2, hold(3)); }), cyclic + "2" + kAt + "invalidateDepends");
    storage.replaceDepends(0, {1});
    storage.replaceDepends(2, {});
    storage.set(1, hold(1));
    storage.set(2, hold(2));
    storage.find(0)->invalidate();  // nothing left marked by the failed walks
    EXPECT_EQ(cached(storage), "---");

    const unsigned int length = 100000;  // far deeper than any call stack would take
    CuratorStorage chain(length);
    for (unsigned int id = 0; id + 1 < length; ++id) chain.addCurator<int>(id, {id + 1});
    chain.addCurator<int>(length - 1).set(hold(1));
    chain.find(0)->invalidate();
    EXPECT_EQ(chain.find(length - 1)->get(), nullptr);
}

TEST(CuratorStorage, FilesGeneratorsAndListings) {
    std::string loaded;
    CuratorStorage storage(4, [&](const std::string& name) { return loaded += name + ";", hold(int(name.size())); });
    EXPECT_EQ(failureOf([&] { storage.setSourceFile(9, "a"); }), "No Curator available for requested ID! ID = 9" + kAt + "find");
    fill(storage, {{2}, {}, {}, {}});
    storage.removeCurator(1);
    storage.setSourceFile(0, "gain");
    storage.setSourceFile(2, "gain");
    storage.setSourceFile(3, "offset.bin");
    EXPECT_EQ(storage.get(3)->toInt32(), 3);  // cached values stay; files are read on demand only
    storage.find(0)->invalidate();
    storage.find(3)->invalidate();
    EXPECT_EQ(storage.get(0)->toInt32(), 4);
    EXPECT_EQ(storage.get(0)->toInt32(), 4);
    EXPECT_EQ(storage.get(3)->toInt32(), 10);
    storage.setGenerator(3, [] { return hold(-1); });
    EXPECT_EQ(storage.get(3)->toInt32(), 10);
    storage.find(0)->invalidate();
    EXPECT_EQ(storage.get(2)->toInt32(), 4);
    EXPECT_EQ(loaded, "gain;offset.bin;gain;");

    std::list<std::string> files{"stale"};
    storage.getAllSourceFiles(files);
    EXPECT_EQ(files, (std::list<std::string>{"gain", "gain"}));
    std::map<unsigned int, std::vector<unsigned int>> depends{{7, {7}}};
    storage.getDependMap(depends);
    EXPECT_EQ(depends, (std::map<unsigned int, std::vector<unsigned int>>{{0, {2}}, {2, {}}, {3, {}}}));
}

TEST(CuratorStorage, MarkedFloatConverterKeepsTheWord) {
    CuratorStorage storage(3);
    storage.addCurator<float>(0);
    storage.addCurator<MarkedFloat>(1);
    storage.setConverterMarkedFloat(0);
    storage.setConverterMarkedFloat(1);
    const MarkedFloat overrange(1.5f, MarkedFloat::Overrange);  // word 0x3FC00005
    storage.set(0, hold(overrange));
    EXPECT_EQ(bitsOf(storage.get(0)->value<const float>()), 0x3FC00005u);  // the mark stays in the bits
    float marked;
    const std::uint32_t word = 0x3FC00003;
    std::memcpy(&marked, &word, 4);
    storage.set(1, hold(marked));
    EXPECT_EQ(bitsOf(storage.get(1)->value<const MarkedFloat>().toFloat()), 0x3FC00002u);  // bit 0 cleared
    EXPECT_EQ(storage.get(1)->getTypeInfo(), typeid(MarkedFloat));
    EXPECT_EQ(bitsOf(storage.getConverted(1, typeid(float))->value<const float>()), 0x3FC00002u);
    EXPECT_EQ(storage.getConverted(1, typeid(MarkedFloat)), storage.get(1));
    EXPECT_EQ(storage.getConverted(1, typeid(int)), nullptr);
    EXPECT_EQ(failureOf([&] { storage.set(1, hold(1)); }),
              "Conversion of new data gave no value! curator type: N5zarvo3exp11MarkedFloatE variable type: i"
              "|zarvo::exp::Curator::set");
}

TEST(CuratorStorage, MatValidatorAdmitsOneShapeAndType) {
    CuratorStorage storage(2);
    storage.addCurator<cv::Mat>(0).set(hold(cv::Mat(2, 3, CV_32FC1)));
    storage.setMatValidator(0, 2, 3, CV_32FC1);
    storage.addCurator<cv::Mat_<float>>(1);
    storage.setMatValidator(1, 2, 3, CV_32FC1);  // its type name passes too
    const struct {
        cv::Mat matrix;
        bool admitted;
    } cases[] = {{cv::Mat(2, 3, CV_32FC1), true},  {cv::Mat(2, 3, CV_32FC2), false}, {cv::Mat(3, 2, CV_32FC1), false},
                 {cv::Mat(2, 3, CV_8UC1), false},  {cv::Mat(), false}};
    for (const auto& c : cases) {
        const auto value = hold(c.matrix);
        EXPECT_EQ(failureOf([&] { storage.set(0, value); }),
                  c.admitted ? "(no exception)" : "New value is not valid!|zarvo::exp::Curator::setImpl");
        EXPECT_EQ(storage.find(0)->get(), c.admitted ? value : nullptr);
    }
}
