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

int runBenchmarksWithRatios(int argc, char** argv, const std::vector<BenchRatio>& ratios,
                            const std::vector<BenchDifference>& differences) {
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    // The two mean times per iteration (nanoseconds), or false if either did not run.
    const auto times = [&](const std::string& name, const std::string& baseline, double& time, double& base) {
        const auto found = reporter.times().find(name), foundBase = reporter.times().find(baseline);
        if (found == reporter.times().end() || foundBase == reporter.times().end()) return false;
        time = found->second;
        base = foundBase->second;
        return true;
    };
    double time = 0, base = 0;
    std::printf("\nRatios (time / baseline time, same process):\n");
    for (const BenchRatio& ratio : ratios) {
        if (!times(ratio.name, ratio.baseline, time, base)) continue;
        const double value = time / base;
        std::printf("  %-48s / %-36s = %6.2fx  (target <= %.2fx: %s)\n", ratio.name.c_str(), ratio.baseline.c_str(),
                    value, ratio.target, value <= ratio.target ? "met" : "MISSED");
    }
    if (!differences.empty()) std::printf("\nAdded time (time - baseline time, same process):\n");
    for (const BenchDifference& difference : differences) {
        if (!times(difference.name, difference.baseline, time, base)) continue;
        const double added = (time - base) / 1000;
        std::printf("  %-48s - %-36s = %6.2f us  (target <= %.2f us: %s)\n", difference.name.c_str(),
                    difference.baseline.c_str(), added, difference.targetMicroseconds,
                    added <= difference.targetMicroseconds ? "met" : "MISSED");
    }
    return 0;
}
