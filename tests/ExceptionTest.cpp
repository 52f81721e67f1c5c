#include <gtest/gtest.h>

#include "valuefault/Exception.h"

namespace zarvo::testing_ {

template <class T>
struct Box {
    void fail() const { ZARVO_THROW("boxed " << sizeof(T)); }
};

void failPlain(int code) { ZARVO_THROW("code " << code << '!'); }

}  // namespace zarvo::testing_

TEST(Exception, ThrowSiteBuildsMessageAndWhereText) {
    try {
        zarvo::testing_::failPlain(7);
        FAIL() << "no throw";
    } catch (const std::exception& error) {
        const auto& exception = dynamic_cast<const zarvo::Exception&>(error);
        EXPECT_EQ(exception.message(), "code 7!");
        EXPECT_STREQ(exception.what(), "code 7!");
        const std::string& where = exception.where();
        EXPECT_NE(where.find("tests/ExceptionTest.cpp: "), std::string::npos) << where;
        EXPECT_EQ(where.substr(where.find(": ", where.find(".cpp: ") + 6)), ": zarvo::testing_::failPlain(..)\n");
    }
    try {
        zarvo::testing_::Box<double>().fail();
        FAIL() << "no throw";
    } catch (const zarvo::Exception& error) {
        EXPECT_EQ(error.message(), "boxed 8");
        EXPECT_NE(error.where().find(": zarvo::testing_::Box<double>::fail(..)\n"), std::string::npos) << error.where();
    }
}

TEST(Exception, QualifiedNameFromCompilerSignatures) {
    using zarvo::Exception;
    EXPECT_EQ(Exception::qualifiedName("static const zarvo::exp::TypeObject& zarvo::exp::TypeObject::find(const "
                                       "std::string&)"),
              "zarvo::exp::TypeObject::find");
    EXPECT_EQ(Exception::qualifiedName("void zarvo::exp::Variant_<T>::moveImpl(T&&) [with T = const float]"),
              "zarvo::exp::Variant_<const float>::moveImpl");
    EXPECT_EQ(Exception::qualifiedName("D zarvo::exp::Variant_<T>::convert() const [with D = int; T = "
                                       "std::__cxx11::list<cv::Mat>]"),
              "zarvo::exp::Variant_<std::__cxx11::list<cv::Mat>>::convert");
    EXPECT_EQ(Exception::qualifiedName("std::istream& zarvo::exp::operator>>(std::istream&, MarkedFloat&)"),
              "zarvo::exp::operator>>");
    EXPECT_EQ(Exception::qualifiedName("zarvo::exp::Frame::Frame(const cv::Mat&)"), "zarvo::exp::Frame::Frame");
    EXPECT_EQ(Exception::qualifiedName("std::map<int, int> zarvo::f(int) [with Tint = int]"), "zarvo::f");
}
