// Writes the file that test_cpp_written.py checks with h5py: every kind of object, with
// values the Python side knows by heart.
#include <iostream>
#include <list>

#include "core/datatypes/TypeObject.h"
#include "core/datatypes/Version.h"
#include "hdf5/FrameRecorder.h"

using namespace zarvo::exp;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

ZARVO_REGISTER_METATYPE(Version, "version");

namespace {

template <class T>
std::shared_ptr<Variant> hold(T value) {
    return std::make_shared<Variant_<T>>(std::move(value));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: zarvo_hdf5_write_files FILE\n";
        return 2;
    }
    RecordingFile file = RecordingFile::create(argv[1]);
    const std::pair<const char*, std::shared_ptr<Variant>> values[] = {
        {"int16", hold<short>(-12345)},
        {"uint64", hold<std::uint64_t>(18000000000000000000u)},
        {"double", hold(2.5)},
        {"bool", hold(true)},
        {"string", hold(std::string("Grüße"))},
        {"cvsize", hold(cv::Size(640, 480))},
        {"vecfloat", hold(std::vector<float>{0.5f, -1.5f})},
        {"listuint8", hold(std::list<unsigned char>{1, 2, 255})},
        {"vecstring", hold(std::vector<std::string>{"a", "bc"})},
        {"cvrect", hold(cv::Rect(1, 2, 3, 4))},
        {"cvmat", hold(cv::Mat((cv::Mat_<float>(2, 3) << 1, 2, 3, 4, 5, 6)))},
        {"version", hold(Version(1, 2, 3))}};
    for (const auto& [path, value] : values) file.writeValue(std::string("values/") + path, value);

    DataStorage<std::string> settings;
    settings.insert("gain", hold(1.5));
    settings.insert("probe.serial", hold(4711));
    file.writeStorage("settings", settings);

    cv::Mat gray(2, 3, CV_8UC1);
    for (int i = 0; i < 6; ++i) gray.data[i] = static_cast<unsigned char>(10 * i);
    Frame grayFrame(gray);
    grayFrame.addMetaDate("exposure", hold(20));
    file.writeFrame("frames/gray", grayFrame);
    file.writeFrame("frames/color", Frame(cv::Mat(2, 2, CV_8UC3, cv::Scalar(1, 2, 3))));

    // The other recordings are declared before the first frame of any: one writer, several streams.
    FrameRecorder::Options lz4;
    lz4.compression = FrameRecorder::Compression::lz4;
    FrameRecorder sensor(file, "lz4run", Frame(cv::Mat(8, 6, CV_16UC1)), lz4);
    FrameRecorder::Options timed;
    timed.timeKey = "time";
    Frame colourLayout(cv::Mat(3, 4, CV_8UC3));
    colourLayout.addMetaDate("time", hold<std::int64_t>(0));
    FrameRecorder colour(file, "entry/colour", colourLayout, timed);
    FrameRecorder::Options options;
    options.deflateLevel = 4;
    FrameRecorder recorder(file, "run", options);
    for (int i = 0; i < 3; ++i) {
        Frame frame(cv::Mat(4, 5, CV_16UC1, cv::Scalar(1000 * i)));
        frame.addMetaDate("index", hold(i));
        frame.addMetaDate("camera.mode", hold(std::string(i == 1 ? "odd" : "even")));
        frame.addMetaDate("camera.firmware", hold(Version(2, 0, static_cast<unsigned>(i))));
        recorder.append(frame);
        cv::Mat noisy(8, 6, CV_16UC1);
        for (int p = 0; p < 48; ++p)
            noisy.at<unsigned short>(p) = static_cast<unsigned short>(4096 + 64 * p + (p * 7 + i) % 5);
        sensor.append(Frame(noisy));
        Frame colourFrame(cv::Mat(3, 4, CV_8UC3, cv::Scalar(10 + i, 20, 30)));  // blue 10 + i, green 20, red 30
        colourFrame.addMetaDate("time", hold<std::int64_t>(1700000000000000000 + 40000000 * i));
        colour.append(colourFrame);
    }
    return 0;
}
