#include "core/memory/MemoryBinary.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace zarvo::exp::Memory {

namespace {

template <class Word>
void reverseEach(char* out, const char* in, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, in + i * sizeof word, sizeof word);
        word = byteSwapped(word);
        std::memcpy(out + i * sizeof word, &word, sizeof word);
    }
}

// Byte reversal needs a byte shuffle to vectorise, which x86-64's baseline lacks:
// compile the loops for the newer instruction sets too and pick one at load time.
// Sanitizer builds define ZARVO_NO_TARGET_CLONES: the load-time resolvers run
// before a sanitizer runtime is set up and crash once instrumented.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(ZARVO_NO_TARGET_CLONES)
#define ZARVO_VECTOR_CLONES __attribute__((target_clones("default", "ssse3", "avx2")))
#else
#define ZARVO_VECTOR_CLONES
#endif

ZARVO_VECTOR_CLONES void reverse2(char* out, const char* in, size_t count) {
    reverseEach<std::uint16_t>(out, in, count);
}
ZARVO_VECTOR_CLONES void reverse4(char* out, const char* in, size_t count) {
    reverseEach<std::uint32_t>(out, in, count);
}
ZARVO_VECTOR_CLONES void reverse8(char* out, const char* in, size_t count) {
    reverseEach<std::uint64_t>(out, in, count);
}

// OpenCV's limits on a matrix: dimensions, and channels per element.
constexpr std::uint32_t kMaxDims = 32;
constexpr std::uint32_t kMaxChannels = CV_CN_MAX;

// Bytes of one channel value for each OpenCV depth code, one hex digit per code.
constexpr std::uint32_t kChannelBytes = 0x28442211;

std::uint32_t channelBytes(int depth) { return (kChannelBytes >> (4 * (depth & 7))) & 0xF; }

// The number of pixel bytes in the form: elements times the width of one element.
size_t pixelBytes(const cv::Mat& value) {
    const int dims = value.dims;
    if (dims == 0) return 0;
    size_t count = 1;
    if (dims <= 2) {
        count = static_cast<size_t>(value.rows) * static_cast<size_t>(value.cols);
    } else {
        for (int i = 0; i < dims; ++i) count *= static_cast<size_t>(value.size[i]);
    }
    return count * value.step[dims - 1];
}

}  // namespace

void reverseFieldBytes(char* out, const char* in, size_t count, size_t width) {
    switch (width) {
        case 2: reverse2(out, in, count); break;
        case 4: reverse4(out, in, count); break;
        case 8: reverse8(out, in, count); break;
        default: if (count != 0) std::memcpy(out, in, count * width);
    }
}

size_t Binary<cv::Mat>::size(const cv::Mat& value) {
    return 16 + 4 * static_cast<size_t>(value.dims) + pixelBytes(value);
}

size_t Binary<cv::Mat>::write(Endian, char* out, const cv::Mat& value) {
    const int dims = value.dims;
    size_t used = writeField(no_swap, out, static_cast<std::uint32_t>(dims));
    for (int i = 0; i < dims; ++i) used += writeField(no_swap, out + used, value.size[i]);
    const int depth = value.flags & 7;
    used += writeField(no_swap, out + used, static_cast<std::uint32_t>(depth));
    used += writeField(no_swap, out + used, static_cast<std::uint32_t>(((value.flags >> 3) & 0x1FF) + 1));
    used += writeField(no_swap, out + used, channelBytes(depth));
    const size_t n = pixelBytes(value);
    if (n == 0) return used;
    if (value.isContinuous()) {
        std::memcpy(out + used, value.data, n);
    } else {
        const cv::Mat continuous = value.clone();
        std::memcpy(out + used, continuous.data, n);
    }
    return used + n;
}

void Binary<cv::Mat>::read(Cursor& in, cv::Mat& value) {
    value.release();
    const std::uint32_t dims = in.field<std::uint32_t>();
    if (dims > kMaxDims) ZARVO_THROW("Matrix header holds " << dims << " dimensions, at most " << kMaxDims);
    int sizes[kMaxDims];
    for (std::uint32_t i = 0; i < dims; ++i) {
        sizes[i] = in.field<int>();
        if (sizes[i] < 0) ZARVO_THROW("Matrix header holds the negative size " << sizes[i] << " in dimension " << i);
    }
    // A zero size anywhere means no elements, whatever the product of the others.
    size_t count = std::find(sizes, sizes + dims, 0) == sizes + dims ? 1 : 0;
    for (std::uint32_t i = 0; i < dims && count != 0; ++i) {
        if (count > std::numeric_limits<size_t>::max() / static_cast<size_t>(sizes[i]))
            ZARVO_THROW("Matrix header holds more elements than memory can address");
        count *= static_cast<size_t>(sizes[i]);
    }
    const std::uint32_t depth = in.field<std::uint32_t>();
    if (depth > 7) ZARVO_THROW("Matrix header holds the depth code " << depth << ", not 0 to 7");
    const std::uint32_t channels = in.field<std::uint32_t>();
    if (channels < 1 || channels > kMaxChannels)
        ZARVO_THROW("Matrix header holds " << channels << " channels, not 1 to " << CV_CN_MAX);
    in.take(4);  // bytes per channel value: follows from the depth
    if (dims == 0) return;

    // Claim the pixel bytes before allocating, so a bounded read of bad bytes fails cleanly.
    const int type = CV_MAKETYPE(static_cast<int>(depth), static_cast<int>(channels));
    const size_t elementBytes = CV_ELEM_SIZE(type);
    if (count > std::numeric_limits<size_t>::max() / elementBytes)
        ZARVO_THROW("Matrix header holds more pixel bytes than memory can address");
    in.require(count * elementBytes);

    if (dims == 2) value.create(sizes[0], sizes[1], type);
    else value.create(static_cast<int>(dims), sizes, type);
    const size_t n = pixelBytes(value);
    if (n != 0) std::memcpy(value.data, in.take(n), n);
}

}  // namespace zarvo::exp::Memory
