#include "core/datatypes/Frame.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using Keys = std::vector<std::string>;
using testsupport::hold;

namespace {

cv::Mat image(int rows = 4) { return cv::Mat(rows, 4, CV_8UC1, cv::Scalar(0)); }

// One buffer: the same pixel data, so a pixel written through one shows in the other.
bool sharePixels(const cv::Mat& a, const cv::Mat& b) { return !a.empty() && a.data == b.data; }

Frame tagged(const cv::Mat& pixels, const char* key = "exposure") {
    Frame frame(pixels);
    frame.addMetaDate("camera.serial", hold(42));
    frame.addMetaDate(key, hold(10));
    return frame;
}

}  // namespace

TEST(Frame, SharingCopyingMetadataAndEmptiness) {
    // Per operation on a frame over pixels: whether the result shares them, whether the source still holds them,
    // whether the source keeps its metadata beside the result's copy (groups apart, leaves shared).
    const std::tuple<std::function<Frame(Frame&)>, bool, bool, bool> operations[] = {
        {[](Frame& f) { return Frame(f); }, false, true, true},
        {[](Frame& f) { return f.getSharedDataCopy(); }, true, true, true},
        {[](Frame& f) {
             Frame t = tagged(image(2), "old");
             t = f;
             return t;
         },
         false, true, true},
        {[](Frame& f) {
             Frame t = tagged(image(2), "old");
             t = std::move(f);
             return t;
         },
         true, false, true},
        {[](Frame& f) { return Frame(std::move(f)); }, true, true, false}};
    for (const auto& [operation, shares, sourceKeeps, copied] : operations) {
        cv::Mat pixels = image();
        Frame source = tagged(pixels), result = operation(source);
        EXPECT_TRUE(sharePixels(pixels, result.getFrameData()) == shares && result.getFrameData().size == pixels.size);
        EXPECT_TRUE(sharePixels(pixels, source.getFrameData()) == sourceKeeps &&
                    result.getMetaDataKeys() == (Keys{"camera", "exposure"}));
        if (!copied) continue;
        std::shared_ptr<Variant> leafA, leafB, groupA, groupB;
        ASSERT_TRUE(source.getMetaDate("camera.serial", leafA) && result.getMetaDate("camera.serial", leafB));
        EXPECT_TRUE(leafA == leafB && source.getMetaDate("camera", groupA) && result.getMetaDate("camera", groupB));
        EXPECT_NE(groupA, groupB);
        result.addMetaDate("camera.gain", hold(1)), result.addMetaDate("added", hold(1));
        EXPECT_FALSE(source.isMetaDateAvailable("camera.gain") || source.isMetaDateAvailable("added"));
    }

    cv::Mat pixels = image();
    EXPECT_TRUE(Frame().isEmpty() && Frame().getMetaDataKeys().empty() && !Frame(pixels).isEmpty());
    DataStorage<std::string> meta;
    meta.insert("a.b", hold(5));
    const auto leaf = meta.get("a.b");
    Frame frame(pixels, std::move(meta)), &self = frame;
    frame = self;
    frame = std::move(self);  // neither self-assignment changes anything
    std::shared_ptr<Variant> found;
    EXPECT_TRUE(sharePixels(frame.getFrameData(), pixels) && frame.getMetaDate("a.b", found) && found == leaf);
    EXPECT_TRUE(std::as_const(frame).getMetaData().get("a.b") == leaf && frame.getMetaData().size() == 1u);
    frame.setFrameData(cv::Mat(4, 4, CV_8UC1, cv::Scalar(200)));
    EXPECT_EQ(pixels.at<unsigned char>(3, 3), 200);  // same size and type: written in place
    frame.setFrameData(cv::Mat(5, 4, CV_8UC1, cv::Scalar(100)));
    EXPECT_TRUE(pixels.at<unsigned char>(3, 3) == 200 && frame.getFrameData().rows == 5);

    frame = Frame();
    frame.addMetaDate("a.b", hold(1));
    frame.addMetaDate("a.c", hold(2));
    frame.addMetaDate("a.b", hold(3));
    EXPECT_TRUE(!frame.isEmpty() && frame.getMetaDataKeys() == Keys{"a"});
    EXPECT_TRUE(frame.isMetaDateAvailable("a") && frame.isMetaDateAvailable("a.c") &&
                !frame.isMetaDateAvailable("a.d"));
    std::shared_ptr<Variant> value = hold(9);
    EXPECT_TRUE(frame.getMetaDate("a.b", value) && value->toInt32() == 1);
    EXPECT_TRUE(!frame.getMetaDate("a.d", value) && value == nullptr);
    EXPECT_TRUE(frame.removeMetaDate("missing") && frame.removeMetaDate("a") && frame.isEmpty());
}

// Containers move these instead of copying: a copied frame would clone its pixels.
static_assert(std::is_nothrow_move_constructible_v<Frame> &&
              std::is_nothrow_move_constructible_v<DataStorage<std::string>>);
