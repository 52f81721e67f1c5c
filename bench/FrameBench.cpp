// getSharedDataCopy() of a small and of a large frame with the same metadata: the
// pixels are shared, so the image size must not show in the time.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>

#include "BenchRatio.h"
#include "core/datatypes/Frame.h"

using namespace zarvo::exp;

namespace {

void SharedDataCopy(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Frame frame(cv::Mat(side, side, CV_8UC1, cv::Scalar(7)));
    frame.addMetaDate("camera.serial", std::make_shared<Variant_<int>>(4711));
    frame.addMetaDate("camera.temperature", std::make_shared<Variant_<double>>(36.5));
    frame.addMetaDate("exposure", std::make_shared<Variant_<int>>(20));
    for (auto _ : state) benchmark::DoNotOptimize(frame.getSharedDataCopy());
}

}  // namespace

BENCHMARK(SharedDataCopy)->Arg(64)->Arg(4096);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv, {{"SharedDataCopy/4096", "SharedDataCopy/64", 1.2}});
}
