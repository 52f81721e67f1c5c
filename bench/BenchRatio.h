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

/// Runs every registered benchmark, then prints each ratio of mean real times and
/// whether it meets its target. Returns 0 (targets are reported, not enforced).
int runBenchmarksWithRatios(int argc, char** argv, const std::vector<BenchRatio>& ratios);
