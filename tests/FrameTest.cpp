#include <gtest/gtest.h>

#include "core/datatypes/Frame.h"
#include "core/datatypes/MeasArea.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using Keys = std::vector<std::string>;
using testsupport::hold;

namespace {

cv::Mat image(int rows = 4) { return cv::Mat(rows, 4, CV_8UC1, cv::Scalar(0)); }

// One buffer: the same data pointer, and a pixel written through a shows in b.
bool sharePixels(cv::Mat& a, const cv::Mat& b) {
    static unsigned char stamp = 0;
    if (a.empty() || b.empty()) return false;
    a.at<unsigned char>(0, 0) = ++stamp;
    return a.data == b.data && b.at<unsigned char>(0, 0) == stamp;
}

Frame tagged(const cv::Mat& pixels) {
    Frame frame(pixels);
    frame.addMetaDate("camera.serial", hold(42));
    frame.addMetaDate("exposure", hold(10));
    return frame;
}

// b's metadata are a copy of a's: leaves shared, groups and top level apart.
void expectCopiedMetadata(const Frame& a, Frame& b) {
    std::shared_ptr<Variant> leafA, leafB, groupA, groupB;
    ASSERT_TRUE(a.getMetaDate("camera.serial", leafA) && b.getMetaDate("camera.serial", leafB));
    EXPECT_TRUE(leafA == leafB && a.getMetaDate("camera", groupA) && b.getMetaDate("camera", groupB) && groupA != groupB);
    b.addMetaDate("camera.gain", hold(1));
    b.addMetaDate("added", hold(1));
    EXPECT_FALSE(a.isMetaDateAvailable("camera.gain") || a.isMetaDateAvailable("added"));
}

}  // namespace

TEST(Frame, SharingAndCopyingTable) {
    cv::Mat pixels = image(), other = image(2);
    EXPECT_TRUE(Frame().isEmpty() && Frame().getMetaDataKeys().empty() && !Frame(pixels).isEmpty());
    EXPECT_TRUE(sharePixels(pixels, Frame(pixels).getFrameData()));
    DataStorage<std::string> meta;
    meta.insert("a.b", hold(5));
    const auto leaf = meta.get("a.b");
    Frame fromBoth(pixels, std::move(meta));
    std::shared_ptr<Variant> found;
    EXPECT_TRUE(sharePixels(fromBoth.getFrameData(), pixels) && fromBoth.getMetaDate("a.b", found) && found == leaf);

    Frame original = tagged(pixels), copied(original);
    EXPECT_FALSE(sharePixels(pixels, copied.getFrameData()));
    expectCopiedMetadata(original, copied);

    Frame movedFrom = tagged(pixels), moved(std::move(movedFrom));
    EXPECT_TRUE(sharePixels(movedFrom.getFrameData(), moved.getFrameData()) && sharePixels(moved.getFrameData(), pixels));
    EXPECT_EQ(moved.getMetaDataKeys(), (Keys{"camera", "exposure"}));
    movedFrom = Frame();  // usable again once assigned to
    EXPECT_TRUE(movedFrom.isEmpty());

    Frame assigned(other), moveAssigned(other), source = tagged(pixels);
    assigned.addMetaDate("old", hold(1));
    moveAssigned.addMetaDate("old", hold(1));
    assigned = original;
    EXPECT_TRUE(!sharePixels(pixels, assigned.getFrameData()) && assigned.getFrameData().size() == pixels.size());
    EXPECT_TRUE(other.rows == 2 && !assigned.isMetaDateAvailable("old"));
    expectCopiedMetadata(original, assigned);
    moveAssigned = std::move(source);
    EXPECT_TRUE(sharePixels(pixels, moveAssigned.getFrameData()) && source.getFrameData().empty());
    EXPECT_TRUE(source.getMetaDataKeys() == (Keys{"camera", "exposure"}) && !moveAssigned.isMetaDateAvailable("old"));
    expectCopiedMetadata(source, moveAssigned);

    Frame shared = original.getSharedDataCopy();
    EXPECT_TRUE(sharePixels(shared.getFrameData(), original.getFrameData()));
    expectCopiedMetadata(original, shared);

    const Frame& self = original;
    original = self;
    original = std::move(original);
    EXPECT_TRUE(sharePixels(shared.getFrameData(), original.getFrameData()) && original.getMetaDataKeys().size() == 2);
}

TEST(Frame, SetFrameDataMetadataAndEmptiness) {
    cv::Mat pixels = image();
    Frame frame(pixels);
    frame.setFrameData(cv::Mat(4, 4, CV_8UC1, cv::Scalar(200)));
    EXPECT_EQ(pixels.at<unsigned char>(3, 3), 200);  // same size and type: written in place
    frame.setFrameData(cv::Mat(5, 4, CV_8UC1, cv::Scalar(100)));
    EXPECT_TRUE(pixels.at<unsigned char>(3, 3) == 200 && frame.getFrameData().rows == 5);

    frame = Frame();
    frame.addMetaDate("a.b", hold(1));
    frame.addMetaDate("a.c", hold(2));
    frame.addMetaDate("a.b", hold(3));
    EXPECT_TRUE(!frame.isEmpty() && frame.getMetaDataKeys() == Keys{"a"});
    EXPECT_TRUE(frame.isMetaDateAvailable("a") && frame.isMetaDateAvailable("a.c") && !frame.isMetaDateAvailable("a.d"));
    std::shared_ptr<Variant> value = hold(9);
    EXPECT_TRUE(frame.getMetaDate("a.b", value) && value->toInt32() == 1);
    EXPECT_TRUE(!frame.getMetaDate("a.d", value) && value == nullptr);
    EXPECT_TRUE(frame.removeMetaDate("missing") && frame.removeMetaDate("a"));
    EXPECT_TRUE(frame.isEmpty());
    frame.addMetaDate("k", hold(6));
    const DataStorage<std::string> taken(frame.releaseMetaData());
    EXPECT_EQ(taken.get("k")->toInt32(), 6);
}

// Containers move these instead of copying: a copied frame would clone its pixels.
static_assert(std::is_nothrow_move_constructible_v<Frame> && std::is_nothrow_move_constructible_v<DataStorage<std::string>>);
static_assert(std::is_nothrow_move_constructible_v<MeasPoint> && std::is_nothrow_move_assignable_v<MeasArea>);
