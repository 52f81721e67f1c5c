#include "tests/TestSupport.h"

namespace zarvo::testing_ {

template <class T>
struct Box {
    void fail() const { ZARVO_THROW("boxed " << sizeof(T) << '!'); }
};

}  // namespace zarvo::testing_

TEST(Exception, WhereTextAndQualifiedNames) {
    const zarvo::Exception boxed = testsupport::errorOf([] { zarvo::testing_::Box<double>().fail(); });
    EXPECT_TRUE(boxed.message() == "boxed 8!" && boxed.what() == std::string("boxed 8!"));
    EXPECT_THAT(boxed.where(), testing::MatchesRegex(".*tests/ExceptionTest.cpp: [0-9]+: "
                                                     "zarvo::testing_::Box<double>::fail\\(\\.\\.\\)\n"));

    const std::pair<const char*, const char*> table[] = {
        {"static const zarvo::exp::TypeObject& zarvo::exp::TypeObject::find(const std::string&)",
         "zarvo::exp::TypeObject::find"},
        {"D zarvo::exp::Variant_<T>::convert() const [with D = int; T = std::__cxx11::list<cv::Mat>]",
         "zarvo::exp::Variant_<std::__cxx11::list<cv::Mat>>::convert"},
        {"std::map<int, int> zarvo::f(int) [with Tint = int]", "zarvo::f"}};
    for (const auto& [signature, name] : table) EXPECT_EQ(zarvo::Exception::qualifiedName(signature), name);
}

TEST(Exception, ReadableTypeNames) {
    const std::pair<const std::type_info&, const char*> table[] = {
        {typeid(unsigned int), "unsigned int"},
        {typeid(std::string), "std::string"},
        {typeid(std::map<std::string, std::vector<std::string>>), "std::map<std::string, std::vector<std::string>>"},
        {typeid(zarvo::testing_::Box<std::string>), "zarvo::testing_::Box<std::string>"}};
    for (const auto& [type, name] : table) EXPECT_EQ(zarvo::Exception::typeName(type), name);
}

TEST(Exception, PrintableEscapesControlCharacters) {
    const std::pair<std::string, std::string> table[] = {
        {"plain \\x1b text", "plain \\x1b text"},
        {"a\nb\rc\td", "a\\nb\\rc\\td"},
        {std::string("\x1b[2J\x7f\0", 6), "\\x1b[2J\\x7f\\x00"},
        {"\xc2\x9b"
         "1m \xc2\xa0 \xc3\xa9",
         "\\u009b1m \xc2\xa0 \xc3\xa9"}};  // C1 escaped, other UTF-8 kept
    for (const auto& [text, shown] : table) {
        EXPECT_EQ(zarvo::Exception::printable(text), shown);
        EXPECT_EQ(zarvo::Exception::printable(shown), shown);
    }
}
