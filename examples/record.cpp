// A short measurement run recorded to HDF5: calibration values first, then 50 frames of
// a moving hot spot with their metadata. Prints how to look at the file from Python.
#include <cmath>
#include <cstdint>
#include <iostream>
#include <string>

#include "hdf5/FrameRecorder.h"

using namespace zarvo::exp;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "zarvo_record.h5";
    RecordingFile file = RecordingFile::create(name);

    // Everything but the frames goes in before the first frame: from then on the file
    // is being recorded and takes no new objects.
    DataStorage<std::string> calibration;
    calibration.insert("gain", std::make_shared<Variant_<double>>(0.04));
    calibration.insert("offset", std::make_shared<Variant_<double>>(-273.15));
    calibration.insert("sensor.serial", std::make_shared<Variant_<std::string>>("TC-4711"));
    file.writeStorage("calibration", calibration);
    file.writeValue("operator", std::make_shared<Variant_<std::string>>("Ada"));

    FrameRecorder::Options options;
    options.compression = FrameRecorder::Compression::deflate;  // the background compresses well
    options.timeKey = "time_ns";                                // the camera's clock: each frame's timestamp
    FrameRecorder recorder(file, "run", options);
    const std::int64_t start = 1764000000000000000;  // 2025-11-24T16:00:00Z, in ns since 1970
    for (int i = 0; i < 50; ++i) {
        cv::Mat pixels(120, 160, CV_8UC1, cv::Scalar(40));
        const cv::Point spot(20 + 2 * i, 60 + static_cast<int>(30 * std::sin(i / 8.0)));
        pixels(cv::Rect(spot.x - 4, spot.y - 4, 9, 9)).setTo(230);
        Frame frame(pixels);
        frame.addMetaDate("index", std::make_shared<Variant_<int>>(i));
        frame.addMetaDate("time_ms", std::make_shared<Variant_<double>>(i * 33.3));
        frame.addMetaDate("time_ns", std::make_shared<Variant_<std::int64_t>>(start + i * std::int64_t(33300000)));
        frame.addMetaDate("spot", std::make_shared<Variant_<cv::Point>>(spot));
        recorder.append(frame);
    }
    recorder.flush();

    const Frame last = FrameRecorder::readFrame(file, "run", recorder.size() - 1);
    std::shared_ptr<Variant> spot;
    last.getMetaDate("spot", spot);
    std::cout << "recorded " << recorder.size() << " frames of 160x120 to " << name << "; last spot at "
              << spot->toString() << "\n\n"
              << "Open it in Python (Debian: apt-get install python3-h5py):\n\n"
              << "    import h5py\n"
              << "    f = h5py.File('" << name << "', 'r')\n"
              << "    f['run/images'].shape               # (50, 120, 160): frame, row, column\n"
              << "    frame = f['run/images'][10]         # reads frame 10 alone, a numpy uint8 array\n"
              << "    f['run/metadata/time_ms'][10]       # its metadata, one dataset per key\n"
              << "    f['run/timestamps'][10]             # its time, ns since 1970 (the axis of every dataset)\n"
              << "    f['calibration/gain'][()]           # 0.04\n\n"
              << "frame at 16:00:01: " << *FrameRecorder::frameAt(file, "run", start + 1000000000) << "\n"
              << "or look into it here: zarvo-inspect h5 summary " << name << "\n";
    return 0;
}
