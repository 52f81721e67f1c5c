// Large values through Variant::serialize and Variant::deserialize, beside a plain
// memcpy of the same bytes into a preallocated buffer and beside cereal's binary
// archives of the same vector.
#include <benchmark/benchmark.h>
#include <cereal/archives/binary.hpp>
#include <cereal/types/vector.hpp>

#include <cstring>
#include <sstream>
#include <vector>

#include "BenchRatio.h"
#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

constexpr size_t kElements = 1000000;

template <class T>
std::shared_ptr<Variant> bigVector() {
    std::vector<T> values(kElements);
    for (size_t i = 0; i < kElements; ++i) values[i] = static_cast<T>(i) * T(0.5);
    return std::make_shared<Variant_<std::vector<T>>>(std::move(values));
}

void setBytes(benchmark::State& state, size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

template <class T>
void Memcpy(benchmark::State& state) {
    const std::vector<T> source(kElements, T(1));
    std::vector<char> target(kElements * sizeof(T));
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), target.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, target.size());
}

template <class T, Endian endian>
void Serialize(benchmark::State& state) {
    const auto value = bigVector<T>();
    size_t size = 0;
    for (auto _ : state) benchmark::DoNotOptimize(value->serialize(endian, size));
    setBytes(state, size);
}

// The open reader, or the bounded one told the buffer's length.
std::shared_ptr<Variant> read(const std::string& name, Endian endian, const char* data, size_t length, bool bounded) {
    size_t size = 0;
    return bounded ? Variant::deserialize(name, endian, data, length, size)
                   : Variant::deserialize(name, endian, data, size);
}

template <class T, Endian endian, bool bounded = false>
void Deserialize(benchmark::State& state) {
    const auto value = bigVector<T>();
    size_t size = 0;
    const auto bytes = value->serialize(endian, size);
    const std::string name = value->getTypeString();
    for (auto _ : state) benchmark::DoNotOptimize(read(name, endian, bytes.get(), size, bounded));
    setBytes(state, size);
}

template <class T>
void CerealSave(benchmark::State& state) {
    const auto value = bigVector<T>();
    const auto& values = *static_cast<const std::vector<T>*>(value->constAddress_imp());
    for (auto _ : state) {
        std::ostringstream stream;
        cereal::BinaryOutputArchive archive(stream);
        archive(values);
        benchmark::DoNotOptimize(stream.tellp());
    }
    setBytes(state, kElements * sizeof(T));
}

template <class T>
void CerealLoad(benchmark::State& state) {
    const auto value = bigVector<T>();
    std::ostringstream saved;
    {
        cereal::BinaryOutputArchive archive(saved);
        archive(*static_cast<const std::vector<T>*>(value->constAddress_imp()));
    }
    const std::string bytes = saved.str();
    for (auto _ : state) {
        std::istringstream stream(bytes);
        cereal::BinaryInputArchive archive(stream);
        std::vector<T> values;
        archive(values);
        benchmark::DoNotOptimize(values.data());
    }
    setBytes(state, kElements * sizeof(T));
}

void MatMemcpy(benchmark::State& state) {
    const cv::Mat image(1080, 1920, CV_32FC1, cv::Scalar(1));
    std::vector<char> target(image.total() * image.elemSize());
    for (auto _ : state) {
        std::memcpy(target.data(), image.data, target.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, target.size());
}

void MatSerialize(benchmark::State& state) {
    const auto value = std::make_shared<Variant_<cv::Mat>>(cv::Mat(1080, 1920, CV_32FC1, cv::Scalar(1)));
    size_t size = 0;
    for (auto _ : state) benchmark::DoNotOptimize(value->serialize(no_swap, size));
    setBytes(state, size);
}

template <bool bounded>
void MatDeserialize(benchmark::State& state) {
    const auto value = std::make_shared<Variant_<cv::Mat>>(cv::Mat(1080, 1920, CV_32FC1, cv::Scalar(1)));
    size_t size = 0;
    const auto bytes = value->serialize(no_swap, size);
    for (auto _ : state) benchmark::DoNotOptimize(read("cvmat", no_swap, bytes.get(), size, bounded));
    setBytes(state, size);
}

// The receiving side of a matrix whose pixels come in a buffer of their own: the
// header read and checked, the matrix wrapped around the pixels, none copied.
void MatHeaderWrap(benchmark::State& state) {
    using MatBinary = Memory::Binary<cv::Mat>;
    const cv::Mat image(1080, 1920, CV_32FC1, cv::Scalar(1));
    std::vector<char> header(MatBinary::headerSize(image));
    MatBinary::writeHeader(header.data(), image);
    for (auto _ : state) {
        Memory::Cursor in(no_swap, header.data(), header.size());
        benchmark::DoNotOptimize(MatBinary::readHeader(in).wrap(image.data, MatBinary::pixelSize(image)));
    }
    setBytes(state, header.size() + MatBinary::pixelSize(image));
}

}  // namespace

#define ZARVO_VECTOR_BENCHMARKS(T)                     \
    BENCHMARK_TEMPLATE(Memcpy, T);                     \
    BENCHMARK_TEMPLATE(Serialize, T, no_swap);         \
    BENCHMARK_TEMPLATE(Serialize, T, swap);            \
    BENCHMARK_TEMPLATE(Deserialize, T, no_swap);       \
    BENCHMARK_TEMPLATE(Deserialize, T, swap);          \
    BENCHMARK_TEMPLATE(Deserialize, T, no_swap, true); \
    BENCHMARK_TEMPLATE(Deserialize, T, swap, true);    \
    BENCHMARK_TEMPLATE(CerealSave, T);                 \
    BENCHMARK_TEMPLATE(CerealLoad, T)
ZARVO_VECTOR_BENCHMARKS(float);
ZARVO_VECTOR_BENCHMARKS(double);
BENCHMARK(MatMemcpy);
BENCHMARK(MatSerialize);
BENCHMARK_TEMPLATE(MatDeserialize, false);
BENCHMARK_TEMPLATE(MatDeserialize, true);
BENCHMARK(MatHeaderWrap);

int main(int argc, char** argv) {
    // Time over baseline time: 1.25 is 0.8x memcpy's throughput, 2.0 is 0.5x.
    std::vector<BenchRatio> ratios;
    for (const std::string type : {"float", "double"}) {
        const std::string memcpy = "Memcpy<" + type + ">";
        for (const std::string op : {"Serialize", "Deserialize"}) {
            ratios.push_back({op + "<" + type + ", no_swap>", memcpy, 1.25});
            ratios.push_back({op + "<" + type + ", swap>", memcpy, 2.0});
        }
        ratios.push_back({"Serialize<" + type + ", swap>", "CerealSave<" + type + ">", 1.0});
        ratios.push_back({"Deserialize<" + type + ", swap>", "CerealLoad<" + type + ">", 1.0});
        for (const std::string endian : {"no_swap", "swap"})  // bounded against open reading
            ratios.push_back(
                {"Deserialize<" + type + ", " + endian + ", true>", "Deserialize<" + type + ", " + endian + ">", 1.05});
    }
    ratios.push_back({"MatSerialize", "MatMemcpy", 1.25});
    ratios.push_back({"MatDeserialize<false>", "MatMemcpy", 1.25});
    ratios.push_back({"MatDeserialize<true>", "MatDeserialize<false>", 1.05});
    ratios.push_back({"MatHeaderWrap", "MatMemcpy", 0.01});  // no pixel copy: a small fixed cost
    return runBenchmarksWithRatios(argc, argv, ratios);
}
