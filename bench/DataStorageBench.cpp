// A three-level dotted get() in a storage of 1,000 top-level keys, beside the same
// three lookups done by hand in plain nested std::maps.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "BenchRatio.h"
#include "core/datatypes/DataStorage.h"

using namespace zarvo::exp;

namespace {

constexpr int kTopLevelKeys = 1000;

std::string filler(int i) {
    char name[16];
    std::snprintf(name, sizeof name, "key%04d", i);
    return name;
}

std::shared_ptr<Variant> number(int value) { return std::make_shared<Variant_<int>>(value); }

void StorageDottedGet(benchmark::State& state) {
    DataStorage<std::string> storage;
    for (int i = 1; i < kTopLevelKeys; ++i) storage.insert(filler(i), number(i));
    for (int i = 0; i < 10; ++i) {
        storage.insert("a." + filler(i), number(i));
        storage.insert("a.b." + filler(i), number(i));
    }
    storage.insert("a.b.c", number(-1));
    const std::string key = "a.b.c";
    for (auto _ : state) benchmark::DoNotOptimize(storage.get(key));
}

void NestedMapsThreeLookups(benchmark::State& state) {
    using Leaves = std::map<std::string, std::shared_ptr<Variant>>;
    using Groups = std::map<std::string, Leaves>;
    std::map<std::string, Groups> top;
    for (int i = 1; i < kTopLevelKeys; ++i) top[filler(i)];
    for (int i = 0; i < 10; ++i) {
        top["a"][filler(i)];
        top["a"]["b"][filler(i)] = number(i);
    }
    top["a"]["b"]["c"] = number(-1);
    const std::string a = "a", b = "b", c = "c";
    for (auto _ : state) benchmark::DoNotOptimize(top.find(a)->second.find(b)->second.find(c)->second);
}

}  // namespace

BENCHMARK(StorageDottedGet);
BENCHMARK(NestedMapsThreeLookups);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv, {{"StorageDottedGet", "NestedMapsThreeLookups", 3.0}});
}
