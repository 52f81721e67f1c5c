// Reads the file write_h5py_file.py made with h5py alone: numbers, strings, an image and
// nested groups come back as their registered types; what does not fit is refused.
#include "hdf5/RecordingFile.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using testsupport::messageOf;
using zarvo::hdf5::RecordingFile;

TEST(Hdf5H5pyFile, ValuesReadAsTheirRegisteredTypes) {
    const RecordingFile file = RecordingFile::openReadOnly(ZARVO_H5PY_WRITTEN);
    EXPECT_EQ(file.readValue("numbers/count")->value<int>(), -42);
    EXPECT_EQ(file.readValue("numbers/big")->value<std::uint64_t>(), 9223372036854775809u);
    EXPECT_EQ(file.readValue("numbers/ratio")->value<double>(), 0.25);
    EXPECT_EQ(file.readValue("numbers/flag")->value<bool>(), true);
    EXPECT_EQ(file.readValue("numbers/series")->value<std::vector<float>>(), (std::vector<float>{1.5f, 2.5f, 3.5f}));
    EXPECT_EQ(file.readValue("text/name")->value<std::string>(), "Zürich");
    EXPECT_EQ(file.readValue("text/fixed")->value<std::string>(), "abc");
    EXPECT_EQ(file.readValue("text/bytesname")->value<short>(), -3);
    EXPECT_EQ(file.readValue("text/list")->value<std::vector<std::string>>(), (std::vector<std::string>{"x", "yz"}));
    const cv::Mat image = file.readValue("image")->value<cv::Mat>();
    ASSERT_EQ(image.type(), CV_8UC1);
    ASSERT_EQ(image.size(), cv::Size(4, 3));
    EXPECT_EQ(image.at<unsigned char>(2, 3), 11);

    const DataStorage<std::string> settings = file.readStorage("settings");
    EXPECT_EQ(settings.get("gain")->toDouble(), 1.5);
    EXPECT_EQ(settings.get("probe.serial")->value<unsigned int>(), 4711u);
    EXPECT_EQ(settings.get("probe.lens.name")->toString(), "wide");
}

TEST(Hdf5H5pyFile, WhatDoesNotFitIsRefusedAndTheFileStaysReadable) {
    const RecordingFile file = RecordingFile::openReadOnly(ZARVO_H5PY_WRITTEN);
    const std::pair<const char*, std::string> cases[] = {
        {"bad/unknown", "type 'nosuchtype' is not registered"},
        {"bad/shape", "shape (3,) does not fit type 'cvsize'"},
        {"bad/class", "element class string does not fit type 'int32'"},
        {"bad/square", "shape (1, 1) does not fit type 'int32'"},
        {"bad/three", "shape (3,) does not fit type 'double'"},
        {"bad/pixels32u", "element type integer of 4 bytes does not fit type 'cvmat'"},
        {"bad/pixels64", "element type integer of 8 bytes does not fit type 'cvmat'"},
        {"bad/unnamed", "has no attribute 'zarvo_type' naming its type"},
        {"bad/bytes",
         "its bytes do not read as 'cvmat': Input ends before the value does: 4 more bytes needed at "
         "offset 0, 3 left"}};
    for (const auto& [path, why] : cases)
        EXPECT_EQ(messageOf([&, path = path] { file.readValue(path); }), "'/" + std::string(path) + "': " + why);
    EXPECT_EQ(file.readValue("numbers/count")->toInt32(), -42);
}
