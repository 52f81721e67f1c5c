// The JSON of values, storages, frames and records, checked against literal text; and
// Python's json reading the strings back to their bytes.

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <set>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/Frame.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/ValueJson.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using Storage = DataStorage<std::string>;
using Row = std::pair<std::shared_ptr<Variant>, std::string>;

namespace {
const double kInf = std::numeric_limits<double>::infinity();
const std::string kValidUtf8 = "\xc2\xa0\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf";  // U+00A0 to U+10FFFF
const std::string kBadBytes = "\xff|\xc3(|\xed\xa0\x80|\xf4\x90\x80\x80|\xc0\xaf|\x80|\xe2\x82";
}  // namespace

// Every built-in value type, in a table that must name each of them.
TEST(ValueJson, EveryBuiltinType) {
    const Row rows[] = {{hold(true), "true"},
                        {hold('"'), "\"\\\"\""},
                        {hold<signed char>(-128), "-128"},
                        {hold<unsigned char>(255), "255"},
                        {hold<short>(-32768), "-32768"},
                        {hold<unsigned short>(65535), "65535"},
                        {hold(-2147483647 - 1), "-2147483648"},
                        {hold(4294967295u), "4294967295"},
                        {hold(std::vector<bool>{true, false}), "[true,false]"},
                        {hold(std::vector<char>{'a', '\n'}), "[\"a\",\"\\u000a\"]"},
                        {hold(std::vector<signed char>{-1, 2}), "[-1,2]"},
                        {hold(std::vector<unsigned char>{0, 200}), "[0,200]"},
                        {hold(std::vector<short>{-3}), "[-3]"},
                        {hold(std::vector<unsigned short>{}), "[]"},
                        {hold(std::vector<int>{1, -3}), "[1,-3]"},
                        {hold(std::vector<unsigned int>{7}), "[7]"},
                        {hold(std::list<bool>{false}), "[false]"},
                        {hold(std::list<char>{'x'}), "[\"x\"]"},
                        {hold(std::list<signed char>{-5}), "[-5]"},
                        {hold(std::list<unsigned char>{5}), "[5]"},
                        {hold(std::list<short>{-6}), "[-6]"},
                        {hold(std::list<unsigned short>{6}), "[6]"},
                        {hold(std::list<int>{-7}), "[-7]"},
                        {hold(std::list<unsigned int>{7}), "[7]"},
                        {hold<std::int64_t>(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
                        {hold<std::uint64_t>(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
                        {hold(std::vector<std::int64_t>{9007199254740993}), "[9007199254740993]"},
                        {hold(std::vector<std::uint64_t>{1}), "[1]"},
                        {hold(std::list<std::int64_t>{-1}), "[-1]"},
                        {hold(std::list<std::uint64_t>{2}), "[2]"},
                        {hold(0.1f), "0.1"},
                        {hold(std::nanf("")), "\"nan\""},
                        {hold(std::vector<float>{1.5f, -1e-7f}), "[1.5,-1e-07]"},
                        {hold(std::list<float>{3.4028235e38f}), "[3.4028235e+38]"},
                        {hold(0.1 + 0.2), "0.30000000000000004"},
                        {hold(std::vector<double>{kInf, -kInf}), "[\"inf\",\"-inf\"]"},
                        {hold(std::list<double>{-0.0}), "[-0]"},
                        {hold(std::string("a\\b")), "\"a\\\\b\""},
                        {hold(std::vector<std::string>{"", "\x1b"}), "[\"\",\"\\u001b\"]"},
                        {hold(std::list<std::string>{"é"}), "[\"é\"]"},
                        {hold(cv::Mat(2, 3, CV_16SC3)), "{\"shape\":[2,3,3],\"dtype\":\"int16\"}"},
                        {hold(cv::Size(640, 480)), "{\"width\":640,\"height\":480}"},
                        {hold(cv::Point(-1, 2)), "{\"x\":-1,\"y\":2}"},
                        {hold(cv::Rect(1, 2, 3, 4)), "{\"x\":1,\"y\":2,\"width\":3,\"height\":4}"},
                        {hold(std::vector<cv::Mat>{cv::Mat(), cv::Mat(1, 2, CV_64F)}),
                         "[{\"shape\":[0,0],\"dtype\":\"uint8\"},{\"shape\":[1,2],\"dtype\":\"float64\"}]"},
                        {hold(std::list<cv::Mat>{}), "[]"},
                        {nullptr, "null"}};
    std::set<std::string> missing;
#define ZARVO_NAME_OF(T, name) missing.insert(name);
    ZARVO_BUILTIN_TYPES(ZARVO_NAME_OF, ZARVO_BUILTIN_SKIP)
#undef ZARVO_NAME_OF
    for (const auto& [value, expected] : rows) {
        EXPECT_EQ(toJson(value), expected) << (value ? value->getTypeString() : "null");
        if (value) missing.erase(value->getTypeString());
    }
    EXPECT_TRUE(missing.empty()) << *missing.begin();
}

// Quotes, backslashes and controls escaped, UTF-8 kept, stray bytes as Python's surrogate escapes.
TEST(ValueJson, StringsEscapeControlsAndStrayBytes) {
    const std::pair<std::string, std::string> rows[] = {
        {"a\"b\\c/", "\"a\\\"b\\\\c/\""},
        {std::string("\0\x01\x1f\x7f\xc2\x80\xc2\x9f", 8), "\"\\u0000\\u0001\\u001f\\u007f\\u0080\\u009f\""},
        {kValidUtf8, "\"" + kValidUtf8 + "\""},
        {kBadBytes,
         "\"\\udcff|\\udcc3(|\\udced\\udca0\\udc80|\\udcf4\\udc90\\udc80\\udc80|\\udcc0\\udcaf|\\udc80|"
         "\\udce2\\udc82\""}};
    for (const auto& [bytes, expected] : rows) EXPECT_EQ(jsonString(bytes), expected);

    // json.loads, then encode with surrogateescape: the bytes again, all 256 of them among others.
    std::string bytes = kBadBytes + kValidUtf8;
    for (int b = 0; b < 256; ++b) bytes += static_cast<char>(b);
    const std::string path = ::testing::TempDir() + "zarvo_valuejson_" + std::to_string(getpid()) + ".json";
    std::ofstream(path, std::ios::binary) << jsonString(bytes);
    FILE* python = popen(("/usr/bin/python3 -c 'import json,sys; sys.stdout.buffer.write(json.load(open(sys.argv[1]))"
                          ".encode(\"utf-8\", \"surrogateescape\"))' " +
                          path)
                             .c_str(),
                         "r");
    ASSERT_NE(python, nullptr);
    std::string back;
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, python)) > 0;) back.append(buffer, n);
    EXPECT_EQ(pclose(python), 0);
    std::remove(path.c_str());
    EXPECT_EQ(back, bytes);
}

// numpy's shape and dtype; the pixels up to the limit only, rows for 2 dimensions, flat for more.
TEST(ValueJson, MatricesWithAndWithoutPixels) {
    cv::Mat twoChannels(2, 2, CV_8UC2, cv::Scalar(1, 2));
    twoChannels.at<cv::Vec2b>(1, 1) = cv::Vec2b(5, 6);
    const int sizes[] = {2, 1, 2};
    cv::Mat cube(3, sizes, CV_32S);
    for (int i = 0; i < 4; ++i) cube.ptr<int>()[i] = i == 3 ? 2147483647 : i;
    cv::Mat wide(2, 4, CV_16U, cv::Scalar(9));
    wide.at<unsigned short>(1, 1) = 65535;
    cv::Mat singles(1, 2, CV_32F);
    singles.at<float>(0, 0) = 0.1f;
    singles.at<float>(0, 1) = -std::numeric_limits<float>::infinity();
    const std::tuple<cv::Mat, size_t, std::string> rows[] = {
        {twoChannels, 8, "{\"shape\":[2,2,2],\"dtype\":\"uint8\",\"pixels\":[[[1,2],[1,2]],[[1,2],[5,6]]]}"},
        {twoChannels, 7, "{\"shape\":[2,2,2],\"dtype\":\"uint8\"}"},
        {cube, 4, "{\"shape\":[2,1,2],\"dtype\":\"int32\",\"pixels\":[0,1,2,2147483647]}"},
        {wide.colRange(1, 3), 4, "{\"shape\":[2,2],\"dtype\":\"uint16\",\"pixels\":[[9,9],[65535,9]]}"},
        {singles, 1024, "{\"shape\":[1,2],\"dtype\":\"float32\",\"pixels\":[[0.1,\"-inf\"]]}"},
        {cv::Mat(1, 1, CV_16F, cv::Scalar(0.5)), 1, "{\"shape\":[1,1],\"dtype\":\"float16\",\"pixels\":[[0.5]]}"},
        {cv::Mat(1, 1, CV_8SC4, cv::Scalar(-1, 0, 1, 2)), 4,
         "{\"shape\":[1,1,4],\"dtype\":\"int8\",\"pixels\":[[[-1,0,1,2]]]}"},
        {cv::Mat(1, 1, CV_64F, cv::Scalar(1e300)), 1, "{\"shape\":[1,1],\"dtype\":\"float64\",\"pixels\":[[1e+300]]}"},
        {cv::Mat(), 1024, "{\"shape\":[0,0],\"dtype\":\"uint8\"}"}};
    for (const auto& [matrix, limit, expected] : rows) EXPECT_EQ(toJson(*hold(matrix), {limit}), expected) << limit;
}

// A storage with a group, a frame, and each record as an object of its fields.
TEST(ValueJson, StorageFrameAndRecords) {
    Storage storage;
    storage.insert("camera.serial", hold(4711));
    storage.insert("camera.lens.focus", hold(1.5f));
    storage.insert("name", hold(std::string("pro\"be")));
    const std::string storageJson = "{\"camera\":{\"lens\":{\"focus\":1.5},\"serial\":4711},\"name\":\"pro\\\"be\"}";
    Storage metadata;
    metadata.insert("gain", hold(2.5));
    const Frame frame(cv::Mat(1, 2, CV_8UC1, cv::Scalar(3)), std::move(metadata));
    const MeasPoint cold(1, 2, hold(-4)), hot(3, 4, hold(std::string("h")));
    const MeasArea area(5, 6, 7, 8, cold, hot, hold(20.5));
    const std::pair<std::string, std::string> rows[] = {
        {toJson(storage), storageJson},
        {toJson(*hold(storage)), storageJson},
        {toJson(*hold(Version(1, 2, 3))), "\"" + Version(1, 2, 3).toString() + "\""},  // a caller's type: its text
        {toJson(*std::make_shared<Variant_<const MarkedFloat>>(MarkedFloat(2.5f, MarkedFloat::Valid))),
         "{\"value\":2.5,\"mark\":\"Valid\"}"},  // as a curator storage holds it
        {toJson(frame, {2}),
         "{\"image\":{\"shape\":[1,2],\"dtype\":\"uint8\",\"pixels\":[[3,3]]},\"metadata\":{\"gain\":2.5}}"},
        {toJson(MarkedFloat(1.5f, MarkedFloat::Overrange)), "{\"value\":1.5,\"mark\":\"Overrange\"}"},
        {toJson(MarkedFloat()), "{\"value\":\"nan\",\"mark\":\"Empty\"}"},
        {toJson(Version(1, 2, 3)), "{\"major\":1,\"minor\":2,\"patch\":3}"},
        {toJson(VersionExtended(1, 2, 3, 4)), "{\"major\":1,\"minor\":2,\"patch\":3,\"buildNumber\":4}"},
        {toJson(MeasPoint(3, 4, nullptr)), "{\"x\":3,\"y\":4,\"type\":null,\"value\":null}"},
        {toJson(area),
         "{\"x\":5,\"y\":6,\"width\":7,\"height\":8,\"coldSpot\":{\"x\":1,\"y\":2,\"type\":\"int32\",\"value\":-4},"
         "\"hotSpot\":{\"x\":3,\"y\":4,\"type\":\"string\",\"value\":\"h\"},\"text\":" +
             jsonString(area.toString()) + "}"},
        {toJson(zarvo::ProbeValue(0.1f, -2, 3)), "{\"value\":0.1,\"precision\":-2,\"status\":3}"},
        {toJson(zarvo::DeviceInfo(18446744073709551615u, 2, 3, 4, "2026-11-23")),
         "{\"deviceSerial\":18446744073709551615,\"boardSerial\":2,\"boardType\":3,\"boardIndex\":4,"
         "\"productionDate\":\"2026-11-23\"}"},
        {toJson(zarvo::DeviceInfo2(1, 2, 3, 4, 5, "2026")),
         "{\"deviceSerial\":1,\"boardSerial\":2,\"deviceType\":3,\"boardIndex\":4,\"placementIndex\":5,"
         "\"productionDate\":\"2026\"}"},
        {toJson(zarvo::MaterialNumber::fromString("1234 5678 90")),
         "{\"number\":\"1234 5678 90\",\"type\":\"numeric\",\"hasIdent\":true}"},
        {toJson(zarvo::CalibrationInfo(1, "CERT-0042", 20250101, 20240101, 48879)),
         "{\"contentType\":1,\"certificateNumber\":\"CERT-0042\",\"expireDate\":20250101,\"issueDate\":20240101,"
         "\"adaptionDataChecksum\":48879}"}};
    for (const auto& [json, expected] : rows) EXPECT_EQ(json, expected);
}
