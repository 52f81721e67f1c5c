#include "BenchRatio.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace {

// Keeps each run's time per iteration beside the normal console output.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration) m_times[run.benchmark_name()] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    const std::map<std::string, double>& times() const { return m_times; }

private:
    std::map<std::string, double> m_times;
};

}  // namespace

int runBenchmarksWithRatios(int argc, char** argv, const std::vector<BenchRatio>& ratios) {
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::printf("\nRatios (time / baseline time, same process):\n");
    for (const BenchRatio& ratio : ratios) {
        const auto name = reporter.times().find(ratio.name);
        const auto baseline = reporter.times().find(ratio.baseline);
        if (name == reporter.times().end() || baseline == reporter.times().end()) continue;
        const double value = name->second / baseline->second;
        std::printf("  %-48s / %-36s = %6.2fx  (target <= %.2fx: %s)\n", ratio.name.c_str(), ratio.baseline.c_str(),
                    value, ratio.target, value <= ratio.target ? "met" : "MISSED");
    }
    return 0;
}
