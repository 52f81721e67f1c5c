// a * b + c over a million marked values beside the same loop over plain floats:
// the price of carrying the marks through arithmetic.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "BenchRatio.h"
#include "core/datatypes/MarkedFloat.h"

using zarvo::exp::MarkedFloat;

namespace {

constexpr size_t kCount = 1000000;

// Inputs with a mark now and then, as measured data has them; the loop has no branch
// on the mark, so their share does not change the time.
float input(size_t i, size_t salt) { return 0.5f + static_cast<float>((i * 7 + salt) % 1000) * 0.001f; }
MarkedFloat markedInput(size_t i, size_t salt) {
    static const MarkedFloat::MarkedFloatValidity validities[] = {MarkedFloat::Valid, MarkedFloat::Valid,
                                                                 MarkedFloat::Valid, MarkedFloat::Underrange,
                                                                 MarkedFloat::Valid, MarkedFloat::Overrange};
    return MarkedFloat(input(i, salt), validities[(i + salt) % 6]);
}

template <class T, class Make>
void multiplyAdd(benchmark::State& state, Make make) {
    std::vector<T> a(kCount), b(kCount), c(kCount), out(kCount);
    for (size_t i = 0; i < kCount; ++i) a[i] = make(i, 1), b[i] = make(i, 2), c[i] = make(i, 3);
    for (auto _ : state) {
        for (size_t i = 0; i < kCount; ++i) out[i] = a[i] * b[i] + c[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCount));
}

void FloatMultiplyAdd(benchmark::State& state) { multiplyAdd<float>(state, input); }
void MarkedFloatMultiplyAdd(benchmark::State& state) { multiplyAdd<MarkedFloat>(state, markedInput); }

}  // namespace

BENCHMARK(FloatMultiplyAdd);
BENCHMARK(MarkedFloatMultiplyAdd);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv, {{"MarkedFloatMultiplyAdd", "FloatMultiplyAdd", 1.5}});
}
