// Reading a cached curated value beside reading a shared pointer out of a vector,
// and the invalidation walk down chains of 100, 1,000 and 10,000 curators.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "BenchRatio.h"
#include "core/datatypes/CuratorStorage.h"

using namespace zarvo::exp;

namespace {

constexpr unsigned int kSlots = 64;

std::shared_ptr<Variant> number(int value) { return std::make_shared<Variant_<int>>(value); }

void StorageGetCached(benchmark::State& state) {
    CuratorStorage storage(kSlots);
    for (unsigned int id = 0; id < kSlots; ++id) storage.addCurator<int>(id).set(number(int(id)));
    unsigned int id = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&storage.get(id));
        id = (id + 1) % kSlots;
    }
}

void VectorElementByReference(benchmark::State& state) {
    std::vector<std::shared_ptr<Variant>> values;
    for (unsigned int id = 0; id < kSlots; ++id) values.push_back(number(int(id)));
    unsigned int id = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&values[id]);
        id = (id + 1) % kSlots;
    }
}

// Each curator lists the next one; every iteration invalidates the head, so the
// whole chain is walked, one nesting level per curator.
void InvalidateChain(benchmark::State& state) {
    const auto length = static_cast<unsigned int>(state.range(0));
    CuratorStorage storage(length);
    for (unsigned int id = 0; id + 1 < length; ++id) storage.addCurator<int>(id, {id + 1});
    storage.addCurator<int>(length - 1);
    Curator& head = *storage.find(0);
    for (auto _ : state) head.invalidate();
}

}  // namespace

BENCHMARK(StorageGetCached);
BENCHMARK(VectorElementByReference);
BENCHMARK(InvalidateChain)->Arg(100)->Arg(1000)->Arg(10000);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv,
                                   {{"StorageGetCached", "VectorElementByReference", 2.0},
                                    {"InvalidateChain/1000", "InvalidateChain/100", 13.0},
                                    {"InvalidateChain/10000", "InvalidateChain/1000", 13.0}});
}
