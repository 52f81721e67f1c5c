#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

TEST(MeasPoint, PointAndAreaForms) {
    MeasPoint point(10, 20, hold(36.5f));
    const std::string swapped(
        "\0\x0a\0\x14"
        "\0\0\0\5"
        "float"
        "\x42\x12\0\0",
        17);
    EXPECT_EQ(recordBytes(point, no_swap), std::string("\x0a\0\x14\0"
                                                       "\5\0\0\0"
                                                       "float"
                                                       "\0\0\x12\x42",
                                                       17));
    EXPECT_EQ(recordBytes(point, swap), swapped);
    EXPECT_EQ(point.toString(), "(10/20) 36.5");
    const MeasPoint back = readBack<MeasPoint>(swapped, swap);
    EXPECT_TRUE(back == point && back.getValue() != point.getValue());  // equal content, separate objects

    MeasPoint empty;
    EXPECT_TRUE(empty == MeasPoint(0, 0, nullptr) && empty != MeasPoint(0, 0, hold(1)) && empty != point);
    char untouched[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(failureOf([&] { empty.serialize(no_swap, untouched); }),
              "Can not serialize empty MEAS POINTs!|zarvo::exp::MeasPoint::serialize");
    EXPECT_EQ(std::string(untouched, 4), "xxxx");
    EXPECT_EQ(failureOf([&] { empty.sizeofType(); }),
              "Can not serialize empty MEAS POINT!|zarvo::exp::MeasPoint::sizeofType");
    EXPECT_EQ(messageOf([&] { empty.toString(); }), "Can not serialize empty MEAS POINT!");
    empty.setPos(cv::Point(70000, 1));
    EXPECT_EQ(empty.getPos(), cv::Point(4464, 1));

    const MeasPoint cold(1, 1, hold(20.5f)), hot(2, 2, hold(40.0f));
    const std::string bytes = std::string("\0\1\0\2\0\3\0\4", 8) + recordBytes(cold, swap) + recordBytes(hot, swap) +
                              std::string("\0\0\0\6", 4) + "double" + std::string("\x40\x42\x80\0\0\0\0\0", 8);  // 37.0
    const MeasArea area = readBack<MeasArea>(bytes, swap);
    for (size_t cut = 0, size = 0; cut < bytes.size(); ++cut)
        EXPECT_THROW(MeasArea::deserialize(swap, std::string(bytes, 0, cut).data(), cut, size), zarvo::Exception);
    EXPECT_EQ(recordBytes(area, swap), bytes);
    EXPECT_EQ(recordBytes(area, no_swap), std::string("\1\0\2\0\3\0\4\0", 8) + recordBytes(cold, no_swap) +
                                              recordBytes(hot, no_swap) + std::string("\6\0\0\0", 4) + "double" +
                                              std::string("\0\0\0\0\0\x80\x42\x40", 8));
    EXPECT_EQ(recordBytes(MeasArea(1, 2, 3, 4, cold, hot, hold(37.0)), swap), bytes);  // built, not read
    EXPECT_EQ(area.getAreaRect(), cv::Rect(1, 2, 3, 4));
    EXPECT_EQ(area.toString(), "(1/2) (3 x 4 )20.5 , 40 , 37");
    EXPECT_EQ(*reinterpret_cast<const double*>(area.getMeanValue()), 37.0);
    MeasArea copy(area);
    EXPECT_TRUE(copy == area && readBack<MeasArea>(bytes, swap) != area);  // an equal but separate mean value
    copy.setColdSpot(MeasPoint(9, 9, hold(20.5f)));
    EXPECT_TRUE(copy != area && area.getColdSpot() == cold && area.getHotSpot() == hot);

    MeasArea bare(1, 2, 3, 4);
    std::string buffer(8, 'x');
    EXPECT_EQ(messageOf([&] { bare.serialize(no_swap, buffer.data()); }), "Can not serialize empty MEAS POINTs!");
    EXPECT_EQ(buffer, std::string("\1\0\2\0\3\0\4\0", 8));  // the four numbers stand already
    bare.setColdSpot(MeasPoint(0, 0, hold(1)));
    EXPECT_EQ(failureOf([&] { bare.toString(); }),
              "Can not serialize empty MEAS POINT!|zarvo::exp::MeasArea::toString");
    bare.setHotSpot(MeasPoint(0, 0, hold(2)));
    buffer.assign(8, 'x');
    const std::string noMean =
        "Can not serialize a MEAS AREA without mean value!|zarvo::exp::MeasArea::requireMeanValue";
    EXPECT_EQ(failureOf([&] { bare.serialize(no_swap, buffer.data()); }) + failureOf([&] { bare.sizeofType(); }),
              noMean + noMean);
    EXPECT_EQ(buffer, std::string(8, 'x'));
}
