// The strict text reader (Variant::parse) beside the lenient one (Variant::fromString)
// on the same texts: checking every character must not cost more than the stream.
#include <benchmark/benchmark.h>

#include <string>

#include "BenchRatio.h"
#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

std::string sequenceText(const char* element, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += element + std::string(";");
    return text;
}

void Lenient(benchmark::State& state, const char* name, const std::string& text) {
    for (auto _ : state) benchmark::DoNotOptimize(Variant::fromString(name, text));
}

void Strict(benchmark::State& state, const char* name, const std::string& text) {
    for (auto _ : state) benchmark::DoNotOptimize(Variant::parse(name, text));
}

}  // namespace

BENCHMARK_CAPTURE(Lenient, int32, "int32", "-1234567");
BENCHMARK_CAPTURE(Strict, int32, "int32", "-1234567");
BENCHMARK_CAPTURE(Lenient, vecint32, "vecint32", sequenceText("-1234567", 10000));
BENCHMARK_CAPTURE(Strict, vecint32, "vecint32", sequenceText("-1234567", 10000));
BENCHMARK_CAPTURE(Lenient, vecdouble, "vecdouble", sequenceText("0.125", 10000));
BENCHMARK_CAPTURE(Strict, vecdouble, "vecdouble", sequenceText("0.125", 10000));

int main(int argc, char** argv) {
    std::vector<BenchRatio> ratios;
    for (const std::string name : {"int32", "vecint32", "vecdouble"})
        ratios.push_back({"Strict/" + name, "Lenient/" + name, 1.0});
    return runBenchmarksWithRatios(argc, argv, ratios);
}
