#pragma once

#include <string>
#include <utility>
#include <vector>

/// A benchmark measured against a baseline run in the same process.
struct BenchRatio {
    std::string name;      ///< the benchmark measured
    std::string baseline;  ///< what it is divided by
    double target;         ///< the ratio it should stay within (time over baseline time)
};

/// A benchmark whose time over a baseline's is what counts, not their ratio.
struct BenchDifference {
    std::string name;           ///< the benchmark measured
    std::string baseline;       ///< what is subtracted from it
    double targetMicroseconds;  ///< the time it may add per iteration
};

/// Runs every registered benchmark, then prints each ratio of mean real times and
/// whether it meets its target, then each difference in microseconds per iteration.
/// Returns 0 (targets are reported, not enforced).
int runBenchmarksWithRatios(int argc, char** argv, const std::vector<BenchRatio>& ratios,
                            const std::vector<BenchDifference>& differences = {});
