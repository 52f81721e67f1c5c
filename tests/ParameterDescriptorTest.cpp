#include <set>

#include "core/datatypes/ParameterDescriptorBool.h"
#include "core/datatypes/ParameterDescriptorScalar.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using MatParameter = ParameterDescriptorScalar<cv::Mat>;

TEST(ParameterDescriptor, TypesOrderMissingFunctionsAndMoves) {
    const ParameterDescriptorBool flag("flag", "help", "grp", nullptr, nullptr);
    const MatParameter mat("mat", "", "", nullptr, [] { return cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)); });
    for (const ParameterDescriptor* base : std::initializer_list<const ParameterDescriptor*>{&flag, &mat})
        EXPECT_EQ(failureOf([&] { base->getTypeInfo(); }),
                  "no type here!|zarvo::exp::ParameterDescriptor::getTypeInfo");

    std::set<ParameterDescriptorBool> byName;
    for (const auto& [name, group] : {std::pair{"ab", "g1"}, {"a", "g1"}, {"b", "g1"}, {"a", "g2"}})
        byName.insert(ParameterDescriptorBool(name, "", group, nullptr, nullptr));
    std::string order;
    for (const auto& p : byName) order += p.getName() + p.getGroup() + ";";
    EXPECT_EQ(order, "ag1;abg1;bg1;");

    bool stored = false;
    ParameterDescriptorBool readOnly("r", "", "", nullptr, [] { return true; });
    const ParameterDescriptorBool writeOnly(
        "w", "", "", [&](bool v) { stored = v; }, nullptr);
    writeOnly.setValue(readOnly.getValue());
    EXPECT_TRUE(stored);
    const std::string at = "|zarvo::exp::ParameterDescriptorBool::";
    EXPECT_EQ(failureOf([&] { readOnly.setValue(true); }), "no setter available" + at + "setValue");
    EXPECT_EQ(failureOf([&] { writeOnly.getValue(); }), "no getter available" + at + "getValue");
    const ParameterDescriptorBool moved(std::move(readOnly));
    EXPECT_TRUE(moved.getValue() && readOnly.getName() == "r");
    EXPECT_EQ(messageOf([&] { readOnly.getValue(); }), "no getter available");

    cv::Mat seen;
    MatParameter matIn(
        "m", "", "", [&](cv::Mat v) { seen = v; }, nullptr);
    EXPECT_EQ(failureOf([&] { matIn.getValue(); }),
              "no getter available|zarvo::exp::ParameterDescriptorScalar<cv::Mat>::getValue");
    MatParameter matTarget("x", "", "", nullptr, nullptr);
    matTarget = std::move(matIn);
    EXPECT_EQ(failureOf([&] { matIn.setValue(cv::Mat()); }),
              "no setter available|zarvo::exp::ParameterDescriptorScalar<cv::Mat>::setValue");
    matTarget.setValue(cv::Mat());
    EXPECT_TRUE(seen.empty() && matIn.getName() == "m" && matTarget.getName() == "m");
}
