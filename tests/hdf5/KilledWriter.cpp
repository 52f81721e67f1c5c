// The writer of the kill tests that h5py reads: writes values, declares its recordings,
// tells the test on standard output how far it got, and waits or records until the
// test kills it.
//   KilledWriter before-first-frame FILE   prints "ready" once the recorder is built, then waits
//   KilledWriter two-streams FILE          records two cameras at other sizes and rates, printing
//                                          "flushed FAST SLOW" after each flush
#include <unistd.h>

#include <cstdio>
#include <string>

#include "hdf5/FrameRecorder.h"

using namespace zarvo::exp;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

namespace {

// Frame i of a stream: its image and its index as metadata.
Frame indexed(const cv::Mat& image, int i) {
    Frame frame(image);
    frame.addMetaDate("index", std::make_shared<Variant_<int>>(i));
    return frame;
}

Frame fastFrame(int i) { return indexed(cv::Mat(48, 64, CV_8UC1, cv::Scalar(i % 256)), i); }

// Colour, 16-bit: blue i, green 1000, red 2000 in OpenCV's order.
Frame slowFrame(int i) { return indexed(cv::Mat(24, 32, CV_16UC3, cv::Scalar(i, 1000, 2000)), i); }

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string mode = argv[1];
    RecordingFile file = RecordingFile::create(argv[2]);
    file.writeValue("calibration/gain", std::make_shared<Variant_<double>>(1.25));
    file.writeValue("operator", std::make_shared<Variant_<std::string>>("Ada"));
    if (mode == "before-first-frame") {
        FrameRecorder recorder(file, "run");
        std::printf("ready\n");
        std::fflush(stdout);
        for (int second = 0; second < 600; ++second) sleep(1);  // a triggered camera waiting
        return 1;
    }
    FrameRecorder::Options options;
    options.flushEvery = 0;
    FrameRecorder fast(file, "run/fast", fastFrame(0), options);
    FrameRecorder slow(file, "run/slow", slowFrame(0), options);
    for (int i = 0; i < 1000000; ++i) {
        fast.append(fastFrame(i));
        if (i % 3 == 0) slow.append(slowFrame(i / 3));
        if (i % 6 == 5) {
            fast.flush();
            std::printf("flushed %zu %zu\n", fast.size(), slow.size());
            std::fflush(stdout);
        }
    }
    return 1;
}
