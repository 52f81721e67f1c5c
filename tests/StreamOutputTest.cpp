#include "tests/TestSupport.h"
#include "zarvo/datatypes.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

template <class T>
std::string streamed(const T& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

}  // namespace

// Every value, record and frame goes to a stream as people read it: records and values by their text form.
TEST(StreamOutput, ValuesRecordsAndFrames) {
    Frame frame(cv::Mat(480, 640, CV_8UC3));
    frame.addMetaDate("exposure", hold(200));
    frame.addMetaDate("camera.serial", hold(7));
    const std::pair<std::string, std::string> table[] = {
        {streamed(*hold(std::vector<int>{1, 2})), "1;2;"},
        {streamed(MeasArea(1, 2, 3, 4, MeasPoint(1, 1, hold(20.5f)), MeasPoint(2, 2, hold(40.0f)), hold(37.0))),
         "(1/2) (3 x 4 )20.5 , 40 , 37"},
        {streamed(Version(1, 2, 3)), Version(1, 2, 3).toString()},
        {streamed(zarvo::MaterialNumber::fromString("1234 5678")), "1234 5678"},
        {streamed(MarkedFloat(1.5f, MarkedFloat::Overrange)), "1.5 (Overrange)"},
        {streamed(frame), "Frame 640x480 CV_8UC3, metadata: camera, exposure"},
        {streamed(Frame()), "Frame 0x0 CV_8UC1, metadata: none"}};
    for (const auto& [text, expected] : table) EXPECT_EQ(text, expected);
    EXPECT_TRUE(big_endian != little_endian &&
                (little_endian == no_swap) == (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__));
}
