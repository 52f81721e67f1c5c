// A three-level dotted get() in a storage of 1,000 top-level keys, beside the same
// three lookups done by hand in plain nested std::maps; and a frame's worth of
// metadata (1,000 short entries) to bytes and back, beside cereal's binary archive
// of a std::map<std::string, T> holding the same keys and values. A message's worth (50
// double entries) written and read back, beside the same std::map of shared values
// built and freed by hand: the two allocations per entry that every storage makes.
#include <benchmark/benchmark.h>
#include <cereal/archives/binary.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/string.hpp>

#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "BenchRatio.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"

using namespace zarvo::exp;

// A caller that writes groups registers their holder, as the storage requires.
[[maybe_unused]] const TypeObject* const kStorageEntry = registerStorageType();

namespace {

constexpr int kTopLevelKeys = 1000;
constexpr int kEntries = 1000;
constexpr int kGroups = 10;

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

// How the 1,000 metadata entries are keyed: all on one level, or spread over ten
// dotted groups ("group3.key0042").
enum Keys { flat, grouped };

template <class T>
T valueOf(int i) {
    if constexpr (std::is_same_v<T, std::string>) return "v" + std::to_string(i * 7);
    else return static_cast<T>(i) * T(3) / T(2);
}

template <Keys keys>
std::string keyOf(int i) {
    if constexpr (keys == flat) return filler(i);
    else return "group" + std::to_string(i % kGroups) + "." + filler(i);
}

template <class T, Keys keys>
std::map<std::string, T> metadataMap() {
    std::map<std::string, T> map;
    for (int i = 0; i < kEntries; ++i) map.emplace(keyOf<keys>(i), valueOf<T>(i));
    return map;
}

template <class T, Keys keys>
DataStorage<std::string> metadataStorage() {
    DataStorage<std::string> storage;
    for (const auto& [key, value] : metadataMap<T, keys>()) storage.insert(key, std::make_shared<Variant_<T>>(value));
    return storage;
}

void perEntry(benchmark::State& state) { state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kEntries)); }

template <class T, Keys keys>
void StorageSerialize(benchmark::State& state) {
    const DataStorage<std::string> storage = metadataStorage<T, keys>();
    for (auto _ : state) {
        const std::unique_ptr<char[]> bytes(new char[storage.sizeofType()]);
        benchmark::DoNotOptimize(storage.serialize(no_swap, bytes.get()));
        benchmark::ClobberMemory();
    }
    perEntry(state);
}

template <class T, Keys keys>
void StorageDeserialize(benchmark::State& state) {
    const DataStorage<std::string> storage = metadataStorage<T, keys>();
    std::string bytes(storage.sizeofType(), '\0');
    storage.serialize(no_swap, bytes.data());
    for (auto _ : state) {
        size_t used = 0;
        const DataStorage<std::string> read =
            DataStorage<std::string>::deserialize(no_swap, bytes.data(), bytes.size(), used);
        benchmark::DoNotOptimize(read.size());
    }
    perEntry(state);
}

template <class T, Keys keys>
void CerealMapSave(benchmark::State& state) {
    const std::map<std::string, T> map = metadataMap<T, keys>();
    for (auto _ : state) {
        std::ostringstream stream;
        cereal::BinaryOutputArchive archive(stream);
        archive(map);
        benchmark::DoNotOptimize(stream.tellp());
    }
    perEntry(state);
}

template <class T, Keys keys>
void CerealMapLoad(benchmark::State& state) {
    std::ostringstream saved;
    {
        cereal::BinaryOutputArchive archive(saved);
        archive(metadataMap<T, keys>());
    }
    const std::string bytes = saved.str();
    for (auto _ : state) {
        std::istringstream stream(bytes);
        cereal::BinaryInputArchive archive(stream);
        std::map<std::string, T> map;
        archive(map);
        benchmark::DoNotOptimize(map.size());
    }
    perEntry(state);
}

constexpr int kMessageEntries = 50;

void StorageRoundTrip50(benchmark::State& state) {
    DataStorage<std::string> storage;
    for (int i = 0; i < kMessageEntries; ++i)
        storage.insert("entry" + std::to_string(i), std::make_shared<Variant_<double>>(i));
    for (auto _ : state) {
        const std::unique_ptr<char[]> bytes(new char[storage.sizeofType()]);
        const size_t size = storage.serialize(little_endian, bytes.get());
        size_t used = 0;
        benchmark::DoNotOptimize(DataStorage<std::string>::deserialize(little_endian, bytes.get(), size, used).size());
    }
}

void SharedValueMap50(benchmark::State& state) {
    std::map<std::string, double> numbers;
    for (int i = 0; i < kMessageEntries; ++i) numbers.emplace("entry" + std::to_string(i), i);
    for (auto _ : state) {
        std::map<std::string, std::shared_ptr<Variant>> map;
        for (const auto& [key, value] : numbers)
            map.emplace_hint(map.end(), key, std::make_shared<Variant_<double>>(value));
        benchmark::DoNotOptimize(map.size());
    }
}

}  // namespace

BENCHMARK(StorageRoundTrip50);
BENCHMARK(SharedValueMap50);
BENCHMARK(StorageDottedGet);
BENCHMARK(NestedMapsThreeLookups);

#define ZARVO_METADATA_BENCHMARKS(T, keys)           \
    BENCHMARK_TEMPLATE(StorageSerialize, T, keys);   \
    BENCHMARK_TEMPLATE(CerealMapSave, T, keys);      \
    BENCHMARK_TEMPLATE(StorageDeserialize, T, keys); \
    BENCHMARK_TEMPLATE(CerealMapLoad, T, keys)
ZARVO_METADATA_BENCHMARKS(int, flat);
ZARVO_METADATA_BENCHMARKS(int, grouped);
ZARVO_METADATA_BENCHMARKS(float, flat);
ZARVO_METADATA_BENCHMARKS(std::string, flat);

int main(int argc, char** argv) {
    std::vector<BenchRatio> ratios{{"StorageDottedGet", "NestedMapsThreeLookups", 3.0},
                                   {"StorageRoundTrip50", "SharedValueMap50", 1.5}};
    // Time over cereal's time: at most 1.0, at least cereal's speed.
    for (const std::string values : {"int, flat", "int, grouped", "float, flat", "std::string, flat"}) {
        ratios.push_back({"StorageSerialize<" + values + ">", "CerealMapSave<" + values + ">", 1.0});
        ratios.push_back({"StorageDeserialize<" + values + ">", "CerealMapLoad<" + values + ">", 1.0});
    }
    return runBenchmarksWithRatios(argc, argv, ratios);
}
