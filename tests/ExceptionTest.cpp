#include "tests/TestSupport.h"

namespace zarvo::testing_ {

template <class T>
struct Box {
    void fail() const { ZARVO_THROW("boxed " << sizeof(T)); }
};

void failPlain(int code) { ZARVO_THROW("code " << code << '!'); }

}  // namespace zarvo::testing_

using testsupport::errorOf;

TEST(Exception, ThrowSiteBuildsMessageAndWhereText) {
    try {
        zarvo::testing_::failPlain(7);
        FAIL() << "no throw";
    } catch (const std::exception& error) {
        const auto& exception = dynamic_cast<const zarvo::Exception&>(error);
        EXPECT_EQ(exception.message(), "code 7!");
        EXPECT_STREQ(exception.what(), "code 7!");
        EXPECT_THAT(exception.where(), testing::MatchesRegex(".*tests/ExceptionTest.cpp: [0-9]+: "
                                                             "zarvo::testing_::failPlain\\(\\.\\.\\)\n"));
    }
    const zarvo::Exception boxed = errorOf([] { zarvo::testing_::Box<double>().fail(); });
    EXPECT_EQ(boxed.message(), "boxed 8");
    EXPECT_THAT(boxed.where(), testing::EndsWith(": zarvo::testing_::Box<double>::fail(..)\n"));
}

TEST(Exception, QualifiedNameFromCompilerSignatures) {
    const std::pair<const char*, const char*> table[] = {
        {"static const zarvo::exp::TypeObject& zarvo::exp::TypeObject::find(const std::string&)",
         "zarvo::exp::TypeObject::find"},
        {"void zarvo::exp::Variant_<T>::moveImpl(T&&) [with T = const float]",
         "zarvo::exp::Variant_<const float>::moveImpl"},
        {"D zarvo::exp::Variant_<T>::convert() const [with D = int; T = std::__cxx11::list<cv::Mat>]",
         "zarvo::exp::Variant_<std::__cxx11::list<cv::Mat>>::convert"},
        {"std::istream& zarvo::exp::operator>>(std::istream&, MarkedFloat&)", "zarvo::exp::operator>>"},
        {"zarvo::exp::Frame::Frame(const cv::Mat&)", "zarvo::exp::Frame::Frame"},
        {"std::map<int, int> zarvo::f(int) [with Tint = int]", "zarvo::f"}};
    for (const auto& [signature, name] : table) EXPECT_EQ(zarvo::Exception::qualifiedName(signature), name);
}
