#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <vector>

#include "core/datatypes/TypeObject.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

std::string name(const std::type_info& type) { return type.name(); }

bool sameContent(const cv::Mat& a, const cv::Mat& b) {
    return a.size == b.size && a.type() == b.type() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0);
}

}  // namespace

TEST(MatrixVariant, MatrixByteForm) {
    cv::Mat small(2, 3, CV_8UC1);
    for (int i = 0; i < 6; ++i) small.data[i] = static_cast<uchar>(10 + i);
    EXPECT_EQ(bytesOf(*hold(small), no_swap), std::string("\x02\0\0\0\x02\0\0\0\x03\0\0\0\0\0\0\0\x01\0\0\0\x01\0\0\0"
                                                          "\x0a\x0b\x0c\x0d\x0e\x0f",
                                                          30));
    EXPECT_EQ(bytesOf(*hold(cv::Mat()), no_swap), std::string("\0\0\0\0\0\0\0\0\x01\0\0\0\x01\0\0\0", 16));
    EXPECT_EQ(bytesOf(*hold(cv::Mat(1, 1, CV_16SC3)), no_swap).substr(12, 12),
              std::string("\x03\0\0\0\x03\0\0\0\x02\0\0\0", 12));
    EXPECT_EQ(hold(cv::Mat(0, 5, CV_32F))->sizeofT_imp(), 24u);

    size_t size = 0;
    const auto back = Variant::deserialize("cvmat", no_swap, bytesOf(*hold(small), no_swap).data(), size);
    EXPECT_EQ(size, 30u);
    const cv::Mat read = back->value<cv::Mat>();
    EXPECT_TRUE(sameContent(read, small));
    EXPECT_NE(read.data, small.data);  // a buffer of its own

    const int sizes[] = {2, 3, 4};
    cv::Mat cube(3, sizes, CV_32FC2, cv::Scalar(1.5, -2));
    const std::string cubeBytes = bytesOf(*hold(cube), no_swap);
    EXPECT_EQ(cubeBytes.size(), 16u + 12 + 24 * 8);
    EXPECT_TRUE(sameContent(Variant::deserialize("cvmat", no_swap, cubeBytes.data(), size)->value<cv::Mat>(), cube));

    const cv::Mat empty = Variant::deserialize("cvmat", no_swap, bytesOf(*hold(cv::Mat(0, 5, CV_8U)), no_swap).data(),
                                               size)->value<cv::Mat>();
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.cols, 5);
    EXPECT_EQ(size, 24u);
}

TEST(MatrixVariant, SharingRegionsAndOwnBuffers) {
    cv::Mat image(4, 5, CV_16UC1);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 5; ++c) image.at<ushort>(r, c) = static_cast<ushort>(r * 10 + c);
    const auto held = hold(image);
    image.at<ushort>(0, 0) = 99;
    EXPECT_EQ(held->value<cv::Mat>().at<ushort>(0, 0), 99);  // shares pixels

    const cv::Mat region = image(cv::Rect(1, 1, 3, 2));
    ASSERT_FALSE(region.isContinuous());
    const std::string bytes = bytesOf(*hold(region), no_swap);
    EXPECT_EQ(bytes.size(), 16u + 8 + 12);
    EXPECT_EQ(bytes, bytesOf(*hold(region.clone()), no_swap));
    size_t size = 0;
    std::string input = bytes;
    const auto copy = Variant::deserialize("cvmat", no_swap, input.data(), size);
    input.assign(input.size(), '\0');
    EXPECT_TRUE(sameContent(copy->value<cv::Mat>(), region));
}

TEST(MatrixVariant, GeometryAndNoSwapRule) {
    EXPECT_EQ(bytesOf(*hold(cv::Point(12, -3)), no_swap), std::string("\x0c\0\0\0\xfd\xff\xff\xff", 8));
    EXPECT_EQ(bytesOf(*hold(cv::Size(7, 8)), no_swap), std::string("\x07\0\0\0\x08\0\0\0", 8));
    EXPECT_EQ(bytesOf(*hold(cv::Rect(1, 2, 3, 4)), no_swap), std::string("\x01\0\0\0\x02\0\0\0\x03\0\0\0\x04\0\0\0", 16));
    EXPECT_EQ(hold(cv::Point(12, -3))->toString(), "12:-3");
    EXPECT_EQ(Variant::fromString("cvpoint", "12:-3")->value<cv::Point>(), cv::Point(12, -3));
    EXPECT_TRUE(hold(cv::Rect(1, 2, 3, 4))->equal_imp(hold(cv::Rect(1, 2, 3, 4))));
    EXPECT_FALSE(hold(cv::Size(1, 2))->equal_imp(hold(cv::Size(2, 1))));

    const struct {
        std::shared_ptr<Variant> value;
        const char* message;
    } refusals[] = {{hold(cv::Mat(1, 1, CV_8U)), "Mat only serializable for no_swap endianes"},
                    {hold(cv::Size()), "cv::Size only serializable for no_swap endianes"},
                    {hold(cv::Point()), "cv::Point only serializable for no_swap endianes"},
                    {hold(cv::Rect()), "cv::Rect only serializable for no_swap endianes"},
                    {hold(std::vector<cv::Mat>(1)), "Mat only serializable for no_swap endianes"}};
    for (const auto& refusal : refusals) {
        EXPECT_FALSE(refusal.value->isSwappable());
        const auto writing = errorOf([&] { bytesOf(*refusal.value, swap); });
        EXPECT_EQ(writing.message(), refusal.message);
        EXPECT_THAT(writing.where(), ::testing::EndsWith(": zarvo::exp::Memory::serializeT(..)\n"));
        const std::string bytes = bytesOf(*refusal.value, no_swap);
        size_t size = 0;
        const auto reading = errorOf([&] { Variant::deserialize(refusal.value->getTypeString(), swap, bytes.data(), size); });
        EXPECT_EQ(reading.message(), refusal.message);
        EXPECT_THAT(reading.where(), ::testing::EndsWith(": zarvo::exp::Memory::deserializeT(..)\n"));
    }
    EXPECT_EQ(bytesOf(*hold(std::vector<cv::Mat>()), swap), std::string(4, '\0'));
}

TEST(MatrixVariant, TextRefusalsAndMatrixContainers) {
    const std::string mat = name(typeid(cv::Mat));
    const auto toText = errorOf([] { hold(cv::Mat())->toString(); });
    EXPECT_EQ(toText.message(), "type '" + mat + "' can not be serialized to string");
    EXPECT_THAT(toText.where(), ::testing::EndsWith(": zarvo::exp::intern::toStringTimpl(..)\n"));
    EXPECT_EQ(errorOf([] { Variant::fromString("cvrect", "1"); }).message(),
              "type '" + name(typeid(cv::Rect)) + "' can not be deserialized from string");
    EXPECT_EQ(errorOf([] { hold(cv::Size())->toString(); }).message(),
              "type '" + name(typeid(cv::Size)) + "' can not be serialized to string");
    EXPECT_EQ(errorOf([] { hold(std::vector<cv::Mat>(2))->toString(); }).message(),
              "type '" + mat + "' can not be serialized to string");
    EXPECT_EQ(errorOf([] { Variant::fromString("listcvmat", "a;"); }).message(),
              "type '" + mat + "' can not be deserialized from string");
    EXPECT_EQ(hold(std::list<cv::Mat>())->toString(), "");
    EXPECT_TRUE(Variant::fromString("veccvmat", "anything")->value<std::vector<cv::Mat>>().empty());

    const auto list = hold(std::list<cv::Mat>(1));
    const std::string listName = name(typeid(std::list<cv::Mat>));
    EXPECT_EQ(errorOf([&] { bytesOf(*list, no_swap); }).message(), "sizeT not available for this type: " + listName);
    const auto direct = errorOf([&] { char buffer[64]; list->serialize_imp(no_swap, buffer); });
    EXPECT_EQ(direct.message(), "type '" + listName + "' can not be serialized ");
    EXPECT_THAT(direct.where(), ::testing::HasSubstr("zarvo::exp::Variant_<std::__cxx11::list<cv::Mat"));
    size_t size = 0;
    EXPECT_EQ(errorOf([&] { Variant::deserialize("listcvmat", no_swap, "", size); }).message(),
              "type '" + listName + "' can not be deserialized ");
    EXPECT_EQ(errorOf([&] { list->equal_imp(list); }).message(), "no comparison operator available for type: " + listName);
    EXPECT_FALSE(list->isComparable() || list->isSwappable());
    EXPECT_TRUE(list->isContainer());

    const auto image = hold(cv::Mat(2, 2, CV_8U));
    EXPECT_EQ(errorOf([&] { image->equal_imp(image); }).message(), "no comparison operator available for type: " + mat);
    EXPECT_EQ(image->getTypeString(), "cvmat");

    std::vector<cv::Mat> two{cv::Mat(2, 2, CV_8U, cv::Scalar(3)), cv::Mat()};
    const std::string bytes = bytesOf(*hold(two), no_swap);
    EXPECT_EQ(bytes.size(), 4u + 28 + 16);
    const auto back = Variant::deserialize("veccvmat", no_swap, bytes.data(), size)->value<std::vector<cv::Mat>>();
    EXPECT_EQ(size, bytes.size());
    ASSERT_EQ(back.size(), 2u);
    EXPECT_TRUE(sameContent(back[0], two[0]));
    EXPECT_TRUE(back[1].empty());

    auto moved = std::make_shared<Variant_<cv::Mat>>(cv::Mat());
    cv::Mat source(3, 3, CV_8U);
    const uchar* pixels = source.data;
    moved->moveImpl(std::move(source));
    EXPECT_TRUE(source.empty());
    EXPECT_EQ(moved->value<cv::Mat>().data, pixels);
}
