// Recording to HDF5 against the plain file write of the same pixels (the disk's limit),
// reading one frame of a short and of a long recording, and deflate against none.
#include <benchmark/benchmark.h>

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

void record(const std::string& name, int frames, int deflateLevel) {
    RecordingFile file = RecordingFile::create(name);
    FrameRecorder::Options options;
    options.deflateLevel = deflateLevel;
    FrameRecorder recorder(file, "run", options);
    for (int i = 0; i < frames; ++i) recorder.append(sampleFrame());
    recorder.flush();
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
    const int level = static_cast<int>(state.range(0));
    for (auto _ : state) record(name, kFrames, level);
    std::FILE* in = std::fopen(name.c_str(), "rb");
    std::fseek(in, 0, SEEK_END);
    state.counters["file_MB"] = static_cast<double>(std::ftell(in)) / 1e6;
    std::fclose(in);
    std::remove(name.c_str());
}

void ReadFrame500(benchmark::State& state) {
    const std::string name = scratch("read" + std::to_string(state.range(0)) + ".h5");
    record(name, static_cast<int>(state.range(0)), 0);
    const RecordingFile file = RecordingFile::openReadOnly(name);
    // Frame 500 of the long recording, the last one (99) of the short.
    const size_t index = state.range(0) > 500 ? 500 : static_cast<size_t>(state.range(0) - 1);
    for (auto _ : state) benchmark::DoNotOptimize(FrameRecorder::readFrame(file, "run", index));
    std::remove(name.c_str());
}

}  // namespace

BENCHMARK(FwritePixels)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(RecordFrames)->Arg(0)->Arg(4)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(ReadFrame500)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv, {{"RecordFrames/0/iterations:3", "FwritePixels/iterations:3", 1.5},
                                                {"ReadFrame500/1000", "ReadFrame500/100", 1.2},
                                                {"RecordFrames/4/iterations:3", "RecordFrames/0/iterations:3", 100}});
}
