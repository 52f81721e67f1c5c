#include <set>

#include "core/datatypes/ParameterDescriptorBool.h"
#include "core/datatypes/ParameterDescriptorScalar.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using MatParameter = ParameterDescriptorScalar<cv::Mat>;

namespace {

std::string kinds(const ParameterDescriptor& p) {
    return std::string(p.isEnum() ? "e" : "-") + (p.isScalar() ? "s" : "-") + (p.isVector() ? "v" : "-") +
           (p.isBool() ? "b" : "-");
}

}  // namespace

TEST(ParameterDescriptor, KindsTypesAndOrder) {
    bool stored = false;
    const ParameterDescriptorBool flag("flag", "help", "grp", [&](bool v) { stored = v; }, [&] { return stored; });
    const MatParameter mat("mat", "", "", nullptr, [] { return cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)); });
    EXPECT_TRUE(kinds(flag) == "---b" && kinds(mat) == "-s--");
    EXPECT_TRUE(flag.getName() == "flag" && flag.getHelpText() == "help" && flag.getGroup() == "grp");
    EXPECT_TRUE(flag.getTypeInfo() == typeid(bool) && mat.getTypeInfo() == typeid(cv::Mat));
    for (const ParameterDescriptor* base : std::initializer_list<const ParameterDescriptor*>{&flag, &mat})
        EXPECT_EQ(failureOf([&] { base->getTypeInfo(); }), "no type here!|zarvo::exp::ParameterDescriptor::getTypeInfo");
    for (const cv::Mat& bound : {mat.getMin(), mat.getMax(), mat.getStep()})
        EXPECT_TRUE(bound.empty() && bound.rows == 0 && bound.cols == 0 && bound.data == nullptr);
    EXPECT_EQ(mat.getValue().rows, 2);

    std::set<ParameterDescriptorBool> byName;
    for (const auto& [name, group] : {std::pair{"ab", "g1"}, {"a", "g1"}, {"b", "g1"}, {"a", "g2"}})
        byName.insert(ParameterDescriptorBool(name, "", group, nullptr, nullptr));
    std::string order;
    for (const auto& p : byName) order += p.getName() + p.getGroup() + ";";
    EXPECT_EQ(order, "ag1;abg1;bg1;");
}

TEST(ParameterDescriptor, MissingFunctionsFailAtTheCall) {
    bool stored = false;
    const ParameterDescriptorBool readOnly("r", "", "", nullptr, [] { return true; });
    const ParameterDescriptorBool writeOnly("w", "", "", [&](bool v) { stored = v; }, nullptr);
    EXPECT_TRUE(readOnly.getValue());
    writeOnly.setValue(true);
    EXPECT_TRUE(stored);
    EXPECT_EQ(failureOf([&] { readOnly.setValue(true); }),
              "no setter available|zarvo::exp::ParameterDescriptorBool::setValue");
    EXPECT_EQ(failureOf([&] { writeOnly.getValue(); }),
              "no getter available|zarvo::exp::ParameterDescriptorBool::getValue");

    cv::Mat seen;
    const MatParameter matIn("m", "", "", [&](cv::Mat v) { seen = v; }, nullptr);
    const cv::Mat image(1, 3, CV_32FC1, cv::Scalar(2));
    matIn.setValue(image);
    EXPECT_EQ(seen.data, image.data);  // a header copy: pixels shared
    EXPECT_EQ(failureOf([&] { matIn.getValue(); }),
              "no getter available|zarvo::exp::ParameterDescriptorScalar<cv::Mat>::getValue");
    const MatParameter matOut("m", "", "", nullptr, [] { return cv::Mat(); });
    EXPECT_EQ(failureOf([&] { matOut.setValue(cv::Mat()); }),
              "no setter available|zarvo::exp::ParameterDescriptorScalar<cv::Mat>::setValue");
}

TEST(ParameterDescriptor, MovesTakeTheFunctionsAndLeaveTheTexts) {
    int calls = 0;
    ParameterDescriptorBool source("p", "help", "grp", [&](bool) { ++calls; }, [&] { return ++calls > 0; });
    ParameterDescriptorBool copy(source);
    ParameterDescriptorBool moved(std::move(source));
    EXPECT_TRUE(source.getName() == "p" && source.getHelpText() == "help" && source.getGroup() == "grp");
    EXPECT_EQ(messageOf([&] { source.getValue(); }), "no getter available");
    EXPECT_EQ(messageOf([&] { source.setValue(true); }), "no setter available");
    moved.setValue(true);
    EXPECT_TRUE(copy.getValue() && calls == 2);

    ParameterDescriptorBool target("t", "", "", nullptr, nullptr);
    target = std::move(moved);
    ParameterDescriptorBool& self = target;
    target = std::move(self);  // changes nothing
    EXPECT_TRUE(target.getName() == "p" && target.getValue() && moved.getName() == "p");
    EXPECT_EQ(messageOf([&] { moved.getValue(); }), "no getter available");

    MatParameter mat("m", "h", "g", [](cv::Mat) {}, [] { return cv::Mat(1, 1, CV_8UC1); });
    MatParameter matMoved(std::move(mat));
    MatParameter matTarget("x", "", "", nullptr, nullptr);
    matTarget = std::move(matMoved);
    for (const MatParameter* empty : {&mat, &matMoved}) {
        EXPECT_EQ(empty->getName(), "m");
        EXPECT_EQ(messageOf([&] { empty->setValue(cv::Mat()); }), "no setter available");
    }
    EXPECT_EQ(matTarget.getValue().rows, 1);
}
