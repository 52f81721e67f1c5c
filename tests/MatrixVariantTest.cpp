#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

// The matrix read back from bytes, checking that all of them are used.
cv::Mat readMatrix(const std::string& bytes) {
    size_t size = 0;
    const cv::Mat read = Variant::deserialize("cvmat", no_swap, bytes.data(), size)->value<cv::Mat>();
    EXPECT_EQ(size, bytes.size());
    return read;
}

bool sameContent(const cv::Mat& a, const cv::Mat& b) {
    return a.size == b.size && a.type() == b.type() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0);
}

}  // namespace

TEST(MatrixVariant, MatrixByteFormAndSharing) {
    cv::Mat image(4, 5, CV_8UC1);
    for (int i = 0; i < 20; ++i) image.data[i] = static_cast<uchar>(10 + i);
    const auto held = hold(image);
    const cv::Mat region = image(cv::Rect(1, 1, 3, 2));  // not continuous: written row by row
    std::string bytes = bytesOf(*hold(region), no_swap);
    EXPECT_EQ(bytes, hex("02 00 00 00 02 00 00 00 03 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00 10 11 12 15 16 17"));
    EXPECT_EQ(bytesOf(*hold(cv::Mat()), no_swap), hex("00 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00"));
    EXPECT_EQ(bytesOf(*hold(cv::Mat(1, 1, CV_16SC3)), no_swap).substr(12, 12),
              hex("03 00 00 00 03 00 00 00 02 00 00 00"));  // type code, channels, element size
    const cv::Mat read = readMatrix(bytes);
    bytes.assign(bytes.size(), '\0');
    image.at<uchar>(0, 0) = 99;
    EXPECT_TRUE(sameContent(read, region) && held->value<cv::Mat>().at<uchar>(0, 0) == 99);  // read owns, held shares

    const int sizes[] = {2, 3, 4};
    const cv::Mat cube(3, sizes, CV_32FC2, cv::Scalar(1.5, -2));
    const std::string cubeBytes = bytesOf(*hold(cube), no_swap), flat = bytesOf(*hold(cv::Mat(0, 5, CV_8U)), no_swap);
    EXPECT_TRUE(cubeBytes.size() == 16u + 12 + 24 * 8 && sameContent(readMatrix(cubeBytes), cube));
    EXPECT_TRUE(flat.size() == 24u && readMatrix(flat).empty() && readMatrix(flat).cols == 5);
}

TEST(MatrixVariant, GeometryNoSwapRuleAndTextRefusals) {
    EXPECT_EQ(bytesOf(*hold(cv::Point(12, -3)), no_swap), hex("0c 00 00 00 fd ff ff ff"));
    EXPECT_EQ(bytesOf(*hold(cv::Size(7, 8)), no_swap), hex("07 00 00 00 08 00 00 00"));
    EXPECT_EQ(bytesOf(*hold(cv::Rect(1, 2, 3, 4)), no_swap), hex("01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00"));
    EXPECT_EQ(Variant::fromString("cvpoint", "12:-3")->toString(), "12:-3");
    EXPECT_EQ(bytesOf(*hold(std::vector<cv::Mat>()), swap), std::string(4, '\0'));

    const std::pair<std::shared_ptr<Variant>, std::string> refusals[] = {{hold(cv::Mat(1, 1, CV_8U)), "Mat"},
                                                                         {hold(cv::Size()), "cv::Size"},
                                                                         {hold(cv::Point()), "cv::Point"},
                                                                         {hold(cv::Rect()), "cv::Rect"},
                                                                         {hold(std::vector<cv::Mat>(1)), "Mat"}};
    for (const auto& [value, kind] : refusals) {
        const std::string message = kind + " only serializable for no_swap endianes|zarvo::exp::Memory::";
        const std::string bytes = bytesOf(*value, no_swap);
        size_t size = 0;
        EXPECT_EQ(failureOf([&] { bytesOf(*value, swap); }), message + "serializeT");
        EXPECT_EQ(failureOf([&] { Variant::deserialize(value->getTypeString(), swap, bytes.data(), size); }),
                  message + "deserializeT");
    }
    size_t size = 0;

    const std::string mat = "cv::Mat", list = "std::list<cv::Mat>";
    const auto matrices = hold(std::list<cv::Mat>(1)), image = hold(cv::Mat(2, 2, CV_8U));
    const std::pair<std::function<void()>, std::string> failures[] = {
        {[] { hold(cv::Mat())->toString(); }, "type '" + mat + "' can not be serialized to string"},
        {[] { Variant::fromString("cvrect", "1"); }, "type 'cv::Rect_<int>' can not be deserialized from string"},
        {[] { hold(cv::Size())->toString(); }, "type 'cv::Size_<int>' can not be serialized to string"},
        {[] { hold(std::vector<cv::Mat>(2))->toString(); }, "type '" + mat + "' can not be serialized to string"},
        {[] { Variant::fromString("listcvmat", "a;"); }, "type '" + mat + "' can not be deserialized from string"},
        {[&] { bytesOf(*matrices, no_swap); }, "sizeT not available for this type: " + list},
        {[&] {
             char buffer[64];
             matrices->serialize_imp(no_swap, buffer);
         },
         "type '" + list + "' can not be serialized "},
        {[&] { Variant::deserialize("listcvmat", no_swap, "", size); }, "type '" + list + "' can not be deserialized "},
        {[&] { image->equal_imp(image); }, "no comparison operator available for type: " + mat}};
    for (const auto& [action, message] : failures) EXPECT_EQ(messageOf(action), message);
    EXPECT_EQ(functionOf(errorOf(failures[0].first)), "zarvo::exp::intern::toStringTimpl");
    EXPECT_THAT(errorOf([&] {
                    char buffer[64];
                    matrices->serialize_imp(no_swap, buffer);
                }).where(),
                testing::HasSubstr("zarvo::exp::Variant_<std::__cxx11::list<cv::Mat"));
    EXPECT_EQ(hold(std::list<cv::Mat>())->toString(), "");
    EXPECT_TRUE(Variant::fromString("veccvmat", "anything")->value<std::vector<cv::Mat>>().empty());
    EXPECT_EQ(image->getTypeString(), "cvmat");
    EXPECT_EQ(bytesOf(*hold(std::vector<cv::Mat>{cv::Mat(2, 2, CV_8U), cv::Mat()}), no_swap).size(), 4u + 28 + 16);
}

// The header and the pixel block apart, as a transport sends them: the header read alone
// tells how to wrap the pixels, and the two pieces together are the whole form.
TEST(MatrixVariant, HeaderAndPixelsApart) {
    using MatBinary = Memory::Binary<cv::Mat>;
    cv::Mat image(4, 5, CV_8UC1);
    for (int i = 0; i < 20; ++i) image.data[i] = static_cast<uchar>(10 + i);
    const int sizes[] = {2, 3, 4};
    const struct {
        cv::Mat matrix;
        std::string header;
    } cases[] = {
        {cv::Mat(), hex("00 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00")},
        {image(cv::Rect(1, 1, 3, 2)), hex("02 00 00 00 02 00 00 00 03 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00")},
        {cv::Mat(3, sizes, CV_16UC3, cv::Scalar(1, 2, 3)),
         hex("03 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 02 00 00 00 03 00 00 00 02 00 00 00")},
        {cv::Mat(0, 5, CV_32FC2), hex("02 00 00 00 00 00 00 00 05 00 00 00 05 00 00 00 02 00 00 00 04 00 00 00")},
    };
    for (const auto& [matrix, header] : cases) {
        std::string written(MatBinary::headerSize(matrix) + 4, '\x5A');
        EXPECT_EQ(MatBinary::writeHeader(written.data(), matrix), header.size());
        EXPECT_EQ(written, header + "\x5A\x5A\x5A\x5A");
        const std::string whole = bytesOf(*hold(matrix), no_swap);
        EXPECT_EQ(whole.size(), header.size() + MatBinary::pixelSize(matrix));
        EXPECT_EQ(whole.substr(0, header.size()), header);

        Memory::Cursor in(no_swap, header.data(), header.size());  // no pixels behind it
        const MatBinary::Header read = MatBinary::readHeader(in);
        EXPECT_TRUE(in.consumed() == header.size() && read.dims == matrix.dims && read.type == matrix.type() &&
                    read.pixelBytes == MatBinary::pixelSize(matrix));
        const cv::Mat wrapped = read.wrap(const_cast<char*>(whole.data()) + header.size(), read.pixelBytes);
        EXPECT_TRUE(sameContent(wrapped, matrix));
        // Over the buffer, not a copy of it.
        EXPECT_TRUE(wrapped.empty() || wrapped.data == reinterpret_cast<const uchar*>(whole.data() + header.size()));
    }

    const std::string header = cases[1].header;
    const std::pair<std::function<void()>, std::string> refusals[] = {
        {[&] {
             Memory::Cursor in(no_swap, header.data(), header.size() - 2);
             MatBinary::readHeader(in);
         },
         "Input ends before the value does: 4 more bytes needed at offset 20, 2 left"},
        {[&] {
             const std::string hostile = hex("21 00 00 00");
             Memory::Cursor in(no_swap, hostile.data(), hostile.size());
             MatBinary::readHeader(in);
         },
         "Matrix header holds 33 dimensions, at most 32"},
        {[&] {
             Memory::Cursor in(swap, header.data(), header.size());
             MatBinary::readHeader(in);
         },
         "Mat only serializable for no_swap endianes"},
        {[&] {
             Memory::Cursor in(no_swap, header.data(), header.size());
             MatBinary::readHeader(in).wrap(image.data, 5);
         },
         "Pixel block holds 5 bytes, the matrix header announces 6"}};
    for (const auto& [refused, message] : refusals) EXPECT_EQ(messageOf(refused), message);
}
