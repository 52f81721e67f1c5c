// Registry lookups beside a bare std::unordered_map lookup of the same key, and
// a scalar's trip to bytes and back.
#include <benchmark/benchmark.h>

#include <string>
#include <typeindex>
#include <unordered_map>

#include "BenchRatio.h"
#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

const std::string kName = "int32";

void FindByName(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(&TypeObject::find(kName));
}

void BareMapByName(benchmark::State& state) {
    std::unordered_map<std::string, int*> map;
    static int entries[46];
    for (int i = 0; i < 46; ++i) map.emplace("type" + std::to_string(i), &entries[i]);
    map.emplace(kName, &entries[0]);
    for (auto _ : state) benchmark::DoNotOptimize(map.find(kName)->second);
}

void FindByType(benchmark::State& state) {
    const std::type_info& type = typeid(int);
    for (auto _ : state) benchmark::DoNotOptimize(&TypeObject::find(type));
}

void BareMapByType(benchmark::State& state) {
    std::unordered_map<std::type_index, int*> map;
    static int entry;
    map.emplace(std::type_index(typeid(int)), &entry);
    map.emplace(std::type_index(typeid(double)), &entry);
    const std::type_info& type = typeid(int);
    for (auto _ : state) benchmark::DoNotOptimize(map.find(std::type_index(type))->second);
}

template <class T>
void SerializeRoundTrip(benchmark::State& state) {
    const std::shared_ptr<Variant> value = std::make_shared<Variant_<T>>(T(42));
    const std::string name = value->getTypeString();
    for (auto _ : state) {
        size_t size = 0;
        const std::shared_ptr<char> bytes = value->serialize(swap, size);
        benchmark::DoNotOptimize(Variant::deserialize(name, swap, bytes.get(), size));
    }
}

}  // namespace

BENCHMARK(FindByName);
BENCHMARK(BareMapByName);
BENCHMARK(FindByType);
BENCHMARK(BareMapByType);
BENCHMARK_TEMPLATE(SerializeRoundTrip, int);
BENCHMARK_TEMPLATE(SerializeRoundTrip, double);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv,
                                   {{"FindByName", "BareMapByName", 1.5}, {"FindByType", "BareMapByType", 1.5}});
}
