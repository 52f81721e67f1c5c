// a * b + c over a million marked values beside the same loop over plain floats:
// the price of carrying the marks through arithmetic. Both loops are compiled alike,
// for the processor they run on (picked at load time, as the library's own block
// loops are): the mark rule is a handful of integer operations per value that
// vectorise, and on x86-64's baseline of four lanes they, not the memory, set the pace.
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

// Sanitizer builds define ZARVO_NO_TARGET_CLONES (see cmake/ZarvoSanitize.cmake).
#if defined(__x86_64__) && defined(__GNUC__) && !defined(ZARVO_NO_TARGET_CLONES)
#define ZARVO_BENCH_CLONES __attribute__((target_clones("default", "avx2")))
#else
#define ZARVO_BENCH_CLONES
#endif

template <class T>
void multiplyAddLoop(T* out, const T* a, const T* b, const T* c) {
    for (size_t i = 0; i < kCount; ++i) out[i] = a[i] * b[i] + c[i];
}
ZARVO_BENCH_CLONES void multiplyAddLoop(float* out, const float* a, const float* b, const float* c) {
    multiplyAddLoop<float>(out, a, b, c);
}
ZARVO_BENCH_CLONES void multiplyAddLoop(MarkedFloat* out, const MarkedFloat* a, const MarkedFloat* b,
                                        const MarkedFloat* c) {
    multiplyAddLoop<MarkedFloat>(out, a, b, c);
}

template <class T, class Make>
void multiplyAdd(benchmark::State& state, Make make) {
    std::vector<T> a(kCount), b(kCount), c(kCount), out(kCount);
    for (size_t i = 0; i < kCount; ++i) a[i] = make(i, 1), b[i] = make(i, 2), c[i] = make(i, 3);
    for (auto _ : state) {
        multiplyAddLoop(out.data(), a.data(), b.data(), c.data());
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
