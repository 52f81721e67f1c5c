// Registry lookups beside a bare std::unordered_map holding the same 46 built-in
// entries, and a scalar's trip to bytes and back.
#include <benchmark/benchmark.h>

#include <string>
#include <typeindex>
#include <unordered_map>
#include <vector>

#include "BenchRatio.h"
#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

const std::string kName = "int32";

// The names the library registers itself, in their order of registration.
const std::vector<std::string> kBuiltInNames{
    "bool",       "char",      "int8",     "uint8",     "int16",      "uint16",    "int32",      "uint32",
    "void",       "vecbool",   "vecchar",  "vecint8",   "vecuint8",   "vecint16",  "vecuint16",  "vecint32",
    "vecuint32",  "listbool",  "listchar", "listint8",  "listuint8",  "listint16", "listuint16", "listint32",
    "listuint32", "int64",     "uint64",   "vecint64",  "vecuint64",  "listint64", "listuint64", "float",
    "vecfloat",   "listfloat", "double",   "vecdouble", "listdouble", "string",    "vecstring",  "liststring",
    "cvmat",      "cvsize",    "cvpoint",  "cvrect",    "veccvmat",   "listcvmat"};

void FindByName(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(&TypeObject::find(kName));
}

void BareMapByName(benchmark::State& state) {
    std::unordered_map<std::string, const TypeObject*> map;
    for (const std::string& name : kBuiltInNames) map.emplace(name, &TypeObject::find(name));
    for (auto _ : state) benchmark::DoNotOptimize(map.find(kName)->second);
}

void FindByType(benchmark::State& state) {
    const std::type_info& type = typeid(int);
    for (auto _ : state) benchmark::DoNotOptimize(&TypeObject::find(type));
}

void BareMapByType(benchmark::State& state) {
    std::unordered_map<std::type_index, const TypeObject*> map;
    for (const std::string& name : kBuiltInNames) {
        const TypeObject& entry = TypeObject::find(name);
        map.emplace(std::type_index(entry.getTypeInfo()), &entry);
    }
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
                                   {{"FindByName", "BareMapByName", 1.1}, {"FindByType", "BareMapByType", 1.1}});
}
