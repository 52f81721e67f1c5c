// Recording to HDF5 against the plain file write of the same pixels (the disk's limit),
// reading one frame of a short and of a long recording, LZ4 and deflate against no
// compression for a 16-bit sensor image (in the page cache and on disk), and finding a
// frame by time in a short and a long recording.
#include <benchmark/benchmark.h>

#include <fcntl.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "BenchRatio.h"
#include "hdf5/FrameRecorder.h"

using namespace zarvo::exp;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

namespace {

constexpr int kFrames = 1000;

std::string scratch(const std::string& name) {
    return "/tmp/zarvo_hdf5_bench_" + std::to_string(getpid()) + "_" + name;
}

// A camera-like 640 x 480 8-bit frame (noise over a gradient) with 10 metadata entries.
Frame cameraFrame(int i) {
    cv::Mat pixels(480, 640, CV_8UC1);
    cv::randu(pixels, 0, 16);
    for (int r = 0; r < pixels.rows; ++r) pixels.row(r) += cv::Scalar(r / 4);
    Frame frame(pixels);
    frame.addMetaDate("index", std::make_shared<Variant_<int>>(i));
    frame.addMetaDate("time_ms", std::make_shared<Variant_<double>>(i * 33.3));
    frame.addMetaDate("exposure_us", std::make_shared<Variant_<unsigned int>>(2000));
    frame.addMetaDate("gain", std::make_shared<Variant_<float>>(1.5f));
    frame.addMetaDate("camera.serial", std::make_shared<Variant_<std::string>>("TC-4711"));
    frame.addMetaDate("camera.temperature", std::make_shared<Variant_<double>>(36.5));
    frame.addMetaDate("camera.mode", std::make_shared<Variant_<std::string>>("full"));
    frame.addMetaDate("roi", std::make_shared<Variant_<cv::Rect>>(cv::Rect(0, 0, 640, 480)));
    frame.addMetaDate("valid", std::make_shared<Variant_<bool>>(true));
    frame.addMetaDate("counter", std::make_shared<Variant_<std::uint64_t>>(1000000u + i));
    return frame;
}

const Frame& sampleFrame() {
    static const Frame frame = cameraFrame(0);
    return frame;
}

// A 16-bit sensor image: a smooth scene in the high bits, noise in the low 4 bits.
Frame sensorFrame() {
    cv::Mat pixels(480, 640, CV_16UC1);
    cv::randu(pixels, 0, 16);
    for (int r = 0; r < pixels.rows; ++r)
        for (int c = 0; c < pixels.cols; ++c)
            pixels.at<unsigned short>(r, c) += static_cast<unsigned short>(1024 + 8 * r + 4 * c);
    return Frame(pixels);
}

FrameRecorder::Compression compressionOf(std::int64_t arg) {
    const FrameRecorder::Compression choices[] = {FrameRecorder::Compression::none, FrameRecorder::Compression::deflate,
                                                  FrameRecorder::Compression::lz4};
    return choices[arg];
}

void record(const std::string& name, const Frame& frame, int frames, FrameRecorder::Compression compression) {
    RecordingFile file = RecordingFile::create(name);
    FrameRecorder::Options options;
    options.compression = compression;
    FrameRecorder recorder(file, "run", options);
    for (int i = 0; i < frames; ++i) recorder.append(frame);
    recorder.flush();
}

// Waits until the file's bytes are on the disk, as a recording that must keep up with a
// camera for longer than the page cache holds does.
void syncToDisk(const std::string& name) {
    const int fd = open(name.c_str(), O_RDONLY);
    fsync(fd);
    close(fd);
}

double fileMegabytes(const std::string& name) {
    std::FILE* in = std::fopen(name.c_str(), "rb");
    std::fseek(in, 0, SEEK_END);
    const double size = static_cast<double>(std::ftell(in)) / 1e6;
    std::fclose(in);
    return size;
}

void FwritePixels(benchmark::State& state) {
    const std::string name = scratch("plain.raw");
    const cv::Mat& pixels = sampleFrame().getFrameData();
    for (auto _ : state) {
        std::FILE* out = std::fopen(name.c_str(), "wb");
        for (int i = 0; i < kFrames; ++i) std::fwrite(pixels.data, 1, pixels.total(), out);
        std::fflush(out);
        std::fclose(out);
    }
    std::remove(name.c_str());
}

void RecordFrames(benchmark::State& state) {
    const std::string name = scratch("record.h5");
    for (auto _ : state) record(name, sampleFrame(), kFrames, FrameRecorder::Compression::none);
    state.counters["file_MB"] = fileMegabytes(name);
    std::remove(name.c_str());
}

// 300 sensor frames (184 MB) with no compression (0), deflate (1) or LZ4 (2); written
// to the page cache (0) or until on disk (1).
void RecordSensor(benchmark::State& state) {
    const std::string name = scratch("sensor.h5");
    static const Frame frame = sensorFrame();
    for (auto _ : state) {
        record(name, frame, 300, compressionOf(state.range(0)));
        if (state.range(1) == 1) syncToDisk(name);
    }
    state.counters["file_MB"] = fileMegabytes(name);
    std::remove(name.c_str());
}

void ReadFrame500(benchmark::State& state) {
    const std::string name = scratch("read" + std::to_string(state.range(0)) + ".h5");
    record(name, sampleFrame(), static_cast<int>(state.range(0)), FrameRecorder::Compression::none);
    const RecordingFile file = RecordingFile::openReadOnly(name);
    // Frame 500 of the long recording, the last one (99) of the short.
    const size_t index = state.range(0) > 500 ? 500 : static_cast<size_t>(state.range(0) - 1);
    for (auto _ : state) benchmark::DoNotOptimize(FrameRecorder::readFrame(file, "run", index));
    std::remove(name.c_str());
}

// A time near the middle of a recording of state.range(0) tiny frames, found by binary search.
void FrameAt(benchmark::State& state) {
    const std::string name = scratch("times" + std::to_string(state.range(0)) + ".h5");
    record(name, Frame(cv::Mat(1, 1, CV_8UC1)), static_cast<int>(state.range(0)), FrameRecorder::Compression::none);
    const RecordingFile file = RecordingFile::openReadOnly(name);
    const std::int64_t middle = FrameRecorder::timestampOf(file, "run", static_cast<size_t>(state.range(0) / 2));
    for (auto _ : state) benchmark::DoNotOptimize(FrameRecorder::frameAt(file, "run", middle));
    std::remove(name.c_str());
}

}  // namespace

BENCHMARK(FwritePixels)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(RecordFrames)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(RecordSensor)->ArgsProduct({{0, 1, 2}, {0, 1}})->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(ReadFrame500)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(FrameAt)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv,
                                   {{"RecordFrames/iterations:3", "FwritePixels/iterations:3", 1.2},
                                    {"RecordSensor/2/0/iterations:3", "RecordSensor/0/0/iterations:3", 2.0},
                                    {"RecordSensor/1/0/iterations:3", "RecordSensor/0/0/iterations:3", 100},
                                    {"RecordSensor/2/1/iterations:3", "RecordSensor/0/1/iterations:3", 2.0},
                                    {"RecordSensor/1/1/iterations:3", "RecordSensor/0/1/iterations:3", 100},
                                    {"ReadFrame500/1000", "ReadFrame500/100", 1.2},
                                    {"FrameAt/100000", "FrameAt/1000", 1.5}});
}
