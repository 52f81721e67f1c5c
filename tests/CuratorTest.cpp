#include <gtest/gtest.h>

#include "core/datatypes/Curator.h"
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

std::string textOf(const std::shared_ptr<Variant>& value) { return value ? value->toString() : "none"; }

// An int curator that writes to log what the base class hands it: the lists given to
// its invalidator, and each new value beside the one still cached.
class Probe : public Curator {
public:
    explicit Probe(std::string& log)
        : Curator([&log](const std::vector<unsigned int>& ids) { log += "invalidate " + std::to_string(ids.size()) + ";"; },
                  {4, 5}),
          m_log(log) {}
    const std::type_info& getTypeInfo() const override { return typeid(int); }
    void onNewValue(const std::shared_ptr<Variant>& value) override {
        m_log += "new " + textOf(value) + " over " + textOf(get()) + ";";
    }
    std::string& m_log;
};

const Curator::Converter toInt = [](const std::shared_ptr<Variant>& value, const std::type_info&) {
    return hold(value->toInt32());
};

}  // namespace

TEST(Curator, GetGeneratesOnceAndCachesUntilInvalidated) {
    const std::string wrongType = "The Generator does not provied the correct data type! template type: i!= generator "
                                  "type: d)!|zarvo::exp::Curator::get";
    const Curator::Converter toNothing = [](const std::shared_ptr<Variant>&, const std::type_info&) {
        return std::shared_ptr<Variant>();
    };
    const struct {
        std::shared_ptr<Variant> generated;
        Curator::Converter converter;
        std::string failure;
        std::string cached;
        int callsForTwoGets;
    } cases[] = {
        {hold(5), nullptr, "(no exception)", "5", 1},
        {hold(2.5), toInt, "(no exception)", "2", 1},
        {hold(2.5), toNothing, "(no exception)", "none", 2},  // an empty conversion leaves it Pending
        {nullptr, nullptr, "Could not generate/load any data! Maybe file name not correct?|zarvo::exp::Curator::get", "none", 2},
        {hold(2.5), nullptr, wrongType, "none", 2},
    };
    for (const auto& c : cases) {
        Curator_<int> curator;
        int calls = 0;
        curator.setConverter(c.converter);
        curator.setValidator([](const std::shared_ptr<Variant>&) { return false; });  // never asked by get
        curator.setGenerator([&] { return ++calls, c.generated; }, "");
        EXPECT_EQ(failureOf([&] { curator.get(); }), c.failure);
        EXPECT_EQ(failureOf([&] { curator.get(); }), c.failure);
        EXPECT_EQ(calls, c.callsForTwoGets) << c.failure;
        curator.setGenerator(nullptr, "");  // what the two calls left in the field
        EXPECT_EQ(textOf(curator.get()), c.cached);
    }
}

TEST(Curator, StatesAndTheFieldBehindGet) {
    Curator_<int> curator;
    EXPECT_FALSE(curator.available());
    EXPECT_EQ(curator.get(), nullptr);  // Empty: quietly nothing
    int calls = 0;
    curator.setGenerator([&] { return hold(++calls); }, "gain.bin");
    EXPECT_TRUE(curator.available() && curator.available());
    EXPECT_EQ(calls, 2);  // Pending: each question runs the generator, nothing is kept
    const std::shared_ptr<Variant>& field = curator.get();
    EXPECT_EQ(textOf(field), "3");
    EXPECT_TRUE(curator.available());
    curator.setGenerator([] { return hold(-1); }, "other.bin");
    EXPECT_EQ(curator.getSourceFileName(), "other.bin");
    EXPECT_EQ(textOf(curator.get()) + std::to_string(calls), "33");  // Cached: no generator call

    Curator_<int> copy(curator);
    EXPECT_EQ(copy.get(), field);  // the same Variant
    const std::shared_ptr<Variant> kept = field;
    curator.invalidate();
    EXPECT_EQ(field, nullptr);
    EXPECT_EQ(copy.get(), kept);
    EXPECT_EQ(textOf(curator.get()), "-1");  // Pending again, with the new generator
    copy = copy;
    EXPECT_EQ(copy.get(), kept);
    EXPECT_EQ(Curator_<cv::Mat>().getTypeInfo(), typeid(cv::Mat));
}

TEST(Curator, GetConvertedIsNeitherCachedNorGuessed) {
    Curator_<int> curator;
    EXPECT_EQ(failureOf([&] { curator.getConverted(typeid(int)); }),
              "No data available to convert! The curator holds no value.|zarvo::exp::Curator::getConverted");
    const auto value = hold(7);
    curator.set(value);
    EXPECT_EQ(failureOf([&] { curator.getConverted(typeid(double)); }),
              "Data types does not match and there is no converter avaiable!|zarvo::exp::Curator::getConverted");
    int conversions = 0;
    curator.setConverter([&](const std::shared_ptr<Variant>& v, const std::type_info&) {
        return ++conversions, hold(v->toDouble());
    });
    EXPECT_EQ(curator.getConverted(typeid(int)), value);
    EXPECT_EQ(curator.getConverted(typeid(double))->value<double>() + curator.getConverted(typeid(double))->toDouble(), 14.0);
    EXPECT_EQ(conversions, 2);
    EXPECT_EQ(curator.get(), value);
}

TEST(Curator, SetConvertsValidatesAnnouncesAndRefuses) {
    std::string log;
    Probe probe(log);
    probe.setValidator([&](const std::shared_ptr<Variant>& v) { return log += "valid? " + textOf(v) + ";", v->toInt32() < 9; });
    const auto one = hold(1);
    probe.set(one);
    EXPECT_EQ(log, "valid? 1;new 1 over none;");
    const std::string unchanged = "1";
    const std::string noConversion =
        "Datatype of new data does not match and no conversion is available! \ncurator type:i variable type: d|zarvo::exp::Curator::set";
    EXPECT_EQ(failureOf([&] { probe.set(nullptr); }),
              "Data can not be set to an empty pointer - use invalidate to clear data!|zarvo::exp::Curator::set");
    EXPECT_EQ(failureOf([&] { probe.set(hold(2.5)); }), noConversion);
    probe.setConverter([](const std::shared_ptr<Variant>&, const std::type_info&) { return std::shared_ptr<Variant>(); });
    EXPECT_EQ(failureOf([&] { probe.set(hold(2.5)); }),
              "Conversion of new data gave no value! curator type: i variable type: d|zarvo::exp::Curator::set");
    probe.setConverter([](const std::shared_ptr<Variant>&, const std::type_info&) { return hold(2.5f); });
    EXPECT_EQ(failureOf([&] { probe.set(hold(2.5)); }), "Type of new data does not match!|zarvo::exp::Curator::setImpl");
    EXPECT_EQ(log + textOf(probe.get()), "valid? 1;new 1 over none;1");  // nothing reached the validator

    log.clear();
    probe.setConverter(toInt);
    probe.set(hold(2.5));  // the converted value is what the validator, onNewValue and the cache see
    EXPECT_EQ(log, "valid? 2;new 2 over 1;");
    EXPECT_EQ(probe.get()->getTypeInfo(), typeid(int));
    log.clear();
    EXPECT_EQ(failureOf([&] { probe.set(hold(9)); }), "New value is not valid!|zarvo::exp::Curator::setImpl");
    EXPECT_EQ(log + textOf(probe.get()), "valid? 9;invalidate 2;none");  // dependents told before the throw
    probe.invalidate();  // also when already empty
    EXPECT_EQ(log, "valid? 9;invalidate 2;invalidate 2;");
}

TEST(Curator, ConcreteCuratorTellsDependentsOfEveryNewValue) {
    std::vector<std::vector<unsigned int>> told;
    Curator_<int> curator([&](const std::vector<unsigned int>& ids) { told.push_back(ids); }, {3});
    curator.set(hold(1));
    curator.set(hold(1));
    curator.setDepends({7, 8});
    Curator_<int> copy = curator;  // keeps the invalidator
    copy.invalidate();
    EXPECT_EQ(told, (std::vector<std::vector<unsigned int>>{{3}, {3}, {7, 8}}));
    Curator_<int> alone;
    alone.set(hold(1));
    alone.invalidate();
    EXPECT_EQ(alone.get(), nullptr);
}
