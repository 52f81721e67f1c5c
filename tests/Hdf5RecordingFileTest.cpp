// Values, storages and frames written to an HDF5 file and read back; what each failure
// says and that the file stays readable after it. What another tool sees in these
// files is checked by h5py (tests/hdf5/test_cpp_written.py).
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include "core/datatypes/Version.h"
#include "hdf5/RecordingFile.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using zarvo::hdf5::RecordingFile;
using Storage = DataStorage<std::string>;

ZARVO_REGISTER_METATYPE(Version, "version");

namespace {

std::string scratch(const std::string& name) { return ::testing::TempDir() + "zarvo_hdf5_" + name + ".h5"; }

bool samePixels(const cv::Mat& a, const cv::Mat& b) {
    return a.type() == b.type() && a.size() == b.size() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0);
}

}  // namespace

TEST(Hdf5RecordingFile, ValuesReadBackEqualAsTheirType) {
    const cv::Mat strided = cv::Mat(4, 6, CV_16SC1, cv::Scalar(-5))(cv::Rect(1, 1, 3, 2));
    const std::vector<std::pair<std::string, std::shared_ptr<Variant>>> values = {
        {"int8", hold<signed char>(-7)},
        {"uint8", hold<unsigned char>(250)},
        {"int16", hold<short>(-30000)},
        {"uint16", hold<unsigned short>(65000)},
        {"int32", hold(-2000000000)},
        {"uint32", hold(4000000000u)},
        {"int64", hold<std::int64_t>(-9000000000000000000)},
        {"uint64", hold<std::uint64_t>(18000000000000000000u)},
        {"float", hold(1.25f)},
        {"double", hold(-0.1)},
        {"bool", hold(true)},
        {"char", hold('z')},
        {"string", hold(std::string("Grüße, 20 °C"))},
        {"nul", hold(std::string("a\0b", 3))},
        {"vecint32", hold(std::vector<int>{1, -2, 3})},
        {"listdouble", hold(std::list<double>{0.5, 1e300})},
        {"vecbool", hold(std::vector<bool>{true, false, true})},
        {"empty", hold(std::vector<float>{})},
        {"vecstring", hold(std::vector<std::string>{"a", "", "ccc"})},
        {"cvsize", hold(cv::Size(640, 480))},
        {"cvpoint", hold(cv::Point(-3, 4))},
        {"cvrect", hold(cv::Rect(1, 2, 30, 40))},
        {"version", hold(Version(1, 2, 3))},
        {"strided", hold(strided)},
        {"emptymat", hold(cv::Mat())},
        {"mat8u", hold(cv::Mat((cv::Mat_<unsigned char>(2, 3) << 1, 2, 3, 4, 5, 255)))},
        {"mat8uc3", hold(cv::Mat(3, 2, CV_8UC3, cv::Scalar(10, 20, 30)))},
        {"mat32f", hold(cv::Mat(2, 2, CV_32FC1, cv::Scalar(0.5f)))},
        {"mat16f", hold(cv::Mat(2, 2, CV_16FC1, cv::Scalar(1)))},
        {"mat64fc2", hold(cv::Mat(1, 5, CV_64FC2, cv::Scalar(1, -1)))},
        {"mat3d", hold(cv::Mat(std::vector<int>{2, 2, 2}, CV_8U, cv::Scalar(9)))}};
    const std::string name = scratch("values");
    {
        RecordingFile file = RecordingFile::create(name);
        for (const auto& [path, value] : values) file.writeValue("values/" + path, value);
    }
    const RecordingFile file = RecordingFile::openReadOnly(name);
    for (const auto& [path, value] : values) {
        const auto back = file.readValue("values/" + path);
        EXPECT_EQ(back->getTypeString(), value->getTypeString()) << path;
        if (value->getTypeString() != "cvmat") {
            EXPECT_TRUE(back->equal_imp(value)) << path << ": " << back->toString();
            continue;
        }
        // Matrices compare by shape, type and pixels; n-dimensional ones by their elements.
        const cv::Mat got = back->value<cv::Mat>(), wanted = value->value<cv::Mat>();
        EXPECT_EQ(got.dims > 2, wanted.dims > 2) << path;
        EXPECT_TRUE(got.dims > 2 ? cv::norm(got, wanted, cv::NORM_INF) == 0 : samePixels(got, wanted)) << path;
    }
}

TEST(Hdf5RecordingFile, StoragesAndFramesReadBackEqual) {
    Storage storage;
    storage.insert("gain", hold(1.5));
    storage.insert("probe.serial", hold(4711u));
    storage.insert("probe.lens.name", hold(std::string("wide")));
    storage.insert("empty", std::make_shared<Variant_<Storage>>(Storage()));
    Storage metadata = storage;
    Frame frame(cv::Mat(3, 4, CV_8UC3, cv::Scalar(1, 2, 3)), std::move(metadata));
    const std::string name = scratch("storage");
    {
        RecordingFile file = RecordingFile::create(name);
        file.writeStorage("/settings", storage);
        file.writeFrame("/frames/first", frame);
    }
    RecordingFile file = RecordingFile::openToAppend(name);
    file.writeValue("/late", hold(1));
    EXPECT_TRUE(file.readStorage("/settings") == storage);
    const Frame back = file.readFrame("/frames/first");
    EXPECT_TRUE(samePixels(back.getFrameData(), frame.getFrameData()));
    std::shared_ptr<Variant> serial;
    EXPECT_TRUE(back.getMetaDate("probe.serial", serial) && serial->toUInt32() == 4711);
    EXPECT_EQ(back.getMetaDataKeys(), frame.getMetaDataKeys());

    std::vector<std::string> listed;
    for (const auto& entry : file.list()) listed.push_back(entry.path + " " + entry.typeName + " " + entry.shape);
    EXPECT_THAT(listed, ::testing::IsSupersetOf({"/frames/first frame ", "/frames/first/image cvmat (3, 4, 3)",
                                                 "/settings storage ", "/settings/gain double scalar",
                                                 "/settings/probe/lens/name string scalar", "/late int32 scalar"}));
}

TEST(Hdf5RecordingFile, FailuresSayWhatAndLeaveTheFileReadable) {
    const std::string name = scratch("failures");
    const std::string notHdf5 = scratch("not_hdf5");
    std::ofstream(notHdf5) << "plain text";
    {
        RecordingFile file = RecordingFile::create(name);
        file.writeValue("kept", hold(7));
        Storage bad;
        bad.insert("ok", hold(1));
        bad.insert("a/b", hold(2));
        EXPECT_EQ(messageOf([&] { file.writeStorage("bad", bad); }), "'bad': key 'a/b' can not be an HDF5 member name");
        EXPECT_FALSE(file.contains("bad"));
        EXPECT_EQ(messageOf([&] { file.writeValue("kept", hold(8)); }), "'kept' exists already in '" + name + "'");
        EXPECT_EQ(messageOf([&] { file.writeValue("none", nullptr); }), "'none': no value to write");
    }
    RecordingFile file = RecordingFile::openReadOnly(name);
    const std::vector<std::pair<std::function<void()>, std::string>> cases = {
        {[&] { RecordingFile::openReadOnly(notHdf5); }, "cannot open '" + notHdf5 + "': not an HDF5 file"},
        {[&] { RecordingFile::openToAppend(name + ".missing"); }, "cannot open '" + name + ".missing': no such file"},
        {[&] { file.readValue("missing/value"); }, "H5Oopen failed on 'missing/value' (HDF5: component not found)"},
        {[&] { file.readStorage("kept"); }, "'/kept': is no group"},
        {[&] { file.readFrame("/"); }, "'/': holds a '', not a frame"},
        {[&] { file.writeValue("new", hold(1)); }, "'" + name + "' is open read only: cannot write 'new'"},
    };
    for (const auto& [action, message] : cases) EXPECT_EQ(messageOf(action), message);
    EXPECT_EQ(file.readValue("kept")->toInt32(), 7);
    file.close();
    EXPECT_EQ(messageOf([&] { file.readValue("kept"); }), "'" + name + "': the file is closed");
}
