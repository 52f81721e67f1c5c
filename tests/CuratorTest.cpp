#include "core/datatypes/CuratorStorage.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

using Ids = std::vector<unsigned int>;
const std::string kCurator = "|zarvo::exp::Curator::", kStorage = "|zarvo::exp::CuratorStorage::";

std::string textOf(const std::shared_ptr<Variant>& value) { return value ? value->toString() : "-"; }

// Curators 0..n-1 of type int, each holding its id, then listing its dependents.
void fill(CuratorStorage& storage, const std::vector<Ids>& depends) {
    for (unsigned int id = 0; id < depends.size(); ++id) storage.addCurator<int>(id).set(hold(int(id)));
    for (unsigned int id = 0; id < depends.size(); ++id) storage.replaceDepends(id, depends[id]);
}

// Per slot "1" if the curator holds a value, "-" if not.
std::string cached(CuratorStorage& storage) {
    std::string held;
    for (unsigned int id = 0; id < storage.getCuratorCount(); ++id) held += storage.find(id)->get() ? "1" : "-";
    return held;
}

}  // namespace

TEST(Curator, GetGeneratesOnceAndCachesUntilInvalidated) {
    const std::string wrongType =
        "The Generator does not provied the correct data type! template type: int!= generator type: double)!";
    // Generated value, converter, failure of each of two gets, what is cached after them, generator calls.
    const std::tuple<std::shared_ptr<Variant>, Curator::Converter, std::string, std::string, int> cases[] = {
        {hold(5), nullptr, "", "5", 1},
        {hold(2.5), [](const std::shared_ptr<Variant>& v, auto&) { return hold(v->toInt32()); }, "", "2", 1},
        {hold(2.5), [](auto&, auto&) { return nullptr; }, "", "-", 2},  // an empty conversion leaves it Pending
        {nullptr, nullptr, "Could not generate/load any data! Maybe file name not correct?" + kCurator + "get", "-", 2},
        {hold(2.5), nullptr, wrongType + kCurator + "get", "-", 2}};
    for (const auto& [generated, converter, failure, kept, callsForTwoGets] : cases) {
        Curator_<int> curator;
        int calls = 0;
        curator.setConverter(converter);
        curator.setValidator([](const std::shared_ptr<Variant>&) { return false; });  // get never asks it
        curator.setGenerator([&, generated = generated] { return ++calls, generated; }, "");
        EXPECT_EQ(failureOf([&] { curator.get(); }) + failureOf([&] { curator.get(); }), failure + failure);
        curator.setGenerator(nullptr, "");
        EXPECT_TRUE(calls == callsForTwoGets && textOf(curator.get()) == kept) << kept;
    }

    Curator_<int> curator;
    EXPECT_TRUE(!curator.available() && curator.get() == nullptr);  // Empty, quietly
    int calls = 0;
    curator.setGenerator([&] { return hold(++calls); }, "gain.bin");
    EXPECT_TRUE(curator.available() && curator.available() && calls == 2);  // Pending keeps nothing
    const std::shared_ptr<Variant>& field = curator.get();
    curator.setGenerator([] { return hold(-1); }, "offset.bin");
    EXPECT_EQ(textOf(curator.get()) + curator.getSourceFileName(), "3offset.bin");  // Cached: no generator call
    Curator_<int> copy(curator);
    curator.invalidate();
    EXPECT_TRUE(field == nullptr && textOf(copy.get()) == "3");  // get() gave the field; the copy shares the Variant
    EXPECT_EQ(textOf(curator.get()), "-1");
}

TEST(Curator, SetConvertsValidatesAnnouncesAndRefuses) {
    std::string log;
    Curator_<int> curator([&](const Ids& ids) { log += "invalidate " + std::to_string(ids.size()) + ";"; }, {4, 5});
    curator.setValidator([&](const auto& v) { return log += "valid? " + textOf(v) + ";", v->toInt32() < 9; });
    curator.set(hold(1));
    const std::pair<std::function<void()>, std::string> refusals[] = {
        {[&] { curator.set(nullptr); }, "Data can not be set to an empty pointer - use invalidate to clear data!"},
        {[&] { curator.set(hold(2.5)); },
         "Datatype of new data does not match and no conversion is available! \ncurator type:int variable type: "
         "double"},
        {[&] { curator.getConverted(typeid(double)); },
         "Data types does not match and there is no converter avaiable!"},
        {[&] { curator.setConverter([](auto&, auto&) { return nullptr; }), curator.set(hold(2.5)); },
         "Conversion of new data gave no value! curator type: int variable type: double"},
        {[&] { curator.setConverter([](auto&, auto&) { return hold(2.5f); }), curator.set(hold(2.5)); },
         "Type of new data does not match!"}};
    EXPECT_EQ(functionOf(errorOf(refusals[0].first)) + " " + functionOf(errorOf(refusals[2].first)),
              "zarvo::exp::Curator::set zarvo::exp::Curator::getConverted");
    for (const auto& [action, message] : refusals) EXPECT_EQ(messageOf(action), message);
    EXPECT_EQ(log + textOf(curator.get()), "valid? 1;invalidate 2;1");  // no failure got as far as the validator

    curator.setConverter([&](const std::shared_ptr<Variant>& v, const std::type_info& type) {
        return type == typeid(int) ? hold(v->toInt32()) : hold(v->toDouble());
    });
    log.clear();
    curator.set(hold(2.5));  // validator and cache see the converted value
    EXPECT_EQ(log + textOf(curator.get()), "valid? 2;invalidate 2;2");
    EXPECT_EQ(curator.getConverted(typeid(int)), curator.get());  // no conversion
    EXPECT_EQ(curator.getConverted(typeid(double))->toDouble(), 2.0);
    EXPECT_EQ(failureOf([&] { curator.set(hold(9)); }), "New value is not valid!" + kCurator + "setImpl");
    EXPECT_EQ(log + textOf(curator.get()), "valid? 2;invalidate 2;valid? 9;invalidate 2;-");  // told before the throw
    curator.invalidate();  // an empty curator passes its list on too
    EXPECT_EQ(messageOf([&] { curator.getConverted(typeid(int)); }),
              "No data available to convert! The curator holds no value.");
    EXPECT_EQ(log, "valid? 2;invalidate 2;valid? 9;invalidate 2;invalidate 2;");
}

TEST(CuratorStorage, SlotsAndTheirFailures) {
    std::string loaded;
    CuratorStorage storage(5, [&](const std::string& name) { return loaded += name + ";", hold(int(name.size())); });
    storage.addCurator<int>(1), storage.addCurator<int>(2, {1});
    storage.addCurator<double>(3).set(hold(0.5));
    storage.removeCurator(3), storage.removeCurator(3);  // the second time an empty slot
    const std::pair<std::function<void()>, std::string> failures[] = {
        {[&] { storage.find(5); }, "No Curator available for requested ID! ID = 5" + kStorage + "find"},
        {[&] { storage.set(3, hold(1)); }, "Try to access empty curator! ID = 3" + kStorage + "find"},
        {[&] { storage.get(1); }, "No data available for requested curator: ID = 1" + kStorage + "get"},
        {[&] { storage.removeCurator(17); }, "ID: 17does not exits!" + kStorage + "removeCurator"},
        {[&] { storage.addCurator<int>(1); }, "Curator slot is already in use! ID = 1" + kStorage + "addCurator"},
        {[&] { storage.setSourceFile(9, "a"); }, "No Curator available for requested ID! ID = 9" + kStorage + "find"},
        {[] { CuratorStorage().setSourceFile(9, "a"); },
         "No file loader available for that curator storage!" + kStorage + "setSourceFile"},
        {[&] { storage.setConverterMarkedFloat(1); },
         "MarkedFloat Converter can only be used with float or MarkedFloat types!Not with Typename: int" + kStorage +
             "setConverterMarkedFloat"},
        {[&] { storage.setMatValidator(1, 1, 1, CV_8UC1); },
         "Data type does not match! Validator type: cv::Mat!= Curator type: int)!" + kStorage + "setMatValidator"}};
    for (const auto& [action, failure] : failures) EXPECT_EQ(failureOf(action), failure);
    EXPECT_EQ(storage.find(1)->get(), nullptr);  // the curator itself answers quietly

    storage.setSourceFile(1, "gain"), storage.setSourceFile(2, "offset.bin");  // read on demand only
    EXPECT_EQ(textOf(storage.get(2)) + textOf(storage.get(1)) + textOf(storage.get(2)), "10410");
    storage.setGenerator(2, [] { return hold(-1); }), storage.find(2)->invalidate();
    EXPECT_EQ(textOf(storage.get(1)) + textOf(storage.get(2)) + "|" + loaded, "4-1|offset.bin;gain;gain;");
    std::list<std::string> files{"stale"};
    std::map<unsigned int, Ids> depends{{7, {7}}};
    storage.getAllSourceFiles(files), storage.getDependMap(depends);
    EXPECT_TRUE(files == std::list<std::string>{"gain"} && depends == (std::map<unsigned int, Ids>{{1, {}}, {2, {1}}}));
}

TEST(CuratorStorage, InvalidationWalksAndTypedHelpers) {
    CuratorStorage storage(4);
    fill(storage, {{1, 2}, {2}, {3}, {}});  // 2, and what it lists, reached on two ways
    storage.set(1, hold(5));                // a new value tells the dependents too
    EXPECT_EQ(cached(storage), "11--");
    storage.find(0)->invalidate();
    EXPECT_EQ(cached(storage), "----");

    CuratorStorage cycles(3);
    fill(cycles, {{1, 2}, {9}, {}});  // a missing dependent stops the walk, depth first: 2 not reached
    EXPECT_EQ(messageOf([&] { cycles.find(0)->invalidate(); }), "No Curator available for requested ID! ID = 9");
    EXPECT_EQ(cached(cycles), "--1");
    cycles.replaceDepends(1, {0});
    EXPECT_EQ(failureOf([&] { cycles.set(1, hold(1)); }),
              "Cyclic curator dependency! ID = 1" + kStorage + "invalidateDepends");
    cycles.replaceDepends(1, {2}), cycles.set(2, hold(2));
    cycles.find(0)->invalidate();  // no mark left behind by the failed walk
    EXPECT_EQ(cached(cycles), "---");

    const unsigned int length = 10000;  // the walk keeps its own stack
    CuratorStorage chain(length);
    for (unsigned int id = 0; id + 1 < length; ++id) chain.addCurator<int>(id, {id + 1});
    chain.addCurator<int>(length - 1).set(hold(1));
    chain.find(0)->invalidate();
    EXPECT_EQ(chain.find(length - 1)->get(), nullptr);

    // The MarkedFloat converter and the matrix validator.
    CuratorStorage typed(4);
    typed.addCurator<float>(0), typed.addCurator<MarkedFloat>(1);
    typed.setConverterMarkedFloat(0), typed.setConverterMarkedFloat(1);
    typed.set(0, hold(MarkedFloat(1.5f, MarkedFloat::Overrange)));             // word 0x3FC00005
    EXPECT_EQ(wordOf(typed.get(0)->value<const float>()), 0x3FC00005u);        // the mark stays in the bits
    typed.set(1, hold(MarkedFloat(1.5f, MarkedFloat::Underrange).toFloat()));  // a float of word 0x3FC00003
    EXPECT_EQ(wordOf(typed.get(1)->value<const MarkedFloat>()), 0x3FC00002u);  // bit 0 cleared
    EXPECT_EQ(typed.getConverted(1, typeid(int)), nullptr);
    typed.addCurator<cv::Mat_<float>>(3), typed.addCurator<cv::Mat>(2);
    typed.setMatValidator(3, 2, 3, CV_32FC1), typed.setMatValidator(2, 2, 3, CV_32FC1);  // Mat_<float> passes too
    const int cases[][4] = {
        {2, 3, CV_32FC1, true}, {2, 3, CV_32FC2, false}, {3, 2, CV_32FC1, false}, {2, 3, CV_8UC1, false}};
    for (const auto& [rows, cols, type, admitted] : cases) {
        const auto value = hold(cv::Mat(rows, cols, type));
        EXPECT_EQ(messageOf([&] { typed.set(2, value); }), admitted ? "(no exception)" : "New value is not valid!");
        EXPECT_EQ(typed.find(2)->get(), admitted ? value : nullptr);
    }
}
