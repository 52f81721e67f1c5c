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

using MatBinary = Binary<cv::Mat>;

// OpenCV's limit on channels per element.
constexpr std::uint32_t kMaxChannels = CV_CN_MAX;

// Bytes of one channel value for each OpenCV depth code, one hex digit per code.
constexpr std::uint32_t kChannelBytes = 0x28442211;

std::uint32_t channelBytes(int depth) { return (kChannelBytes >> (4 * (depth & 7))) & 0xF; }

}  // namespace

void reverseFieldBytes(char* out, const char* in, size_t count, size_t width) {
    switch (width) {
        case 2: reverse2(out, in, count); break;
        case 4: reverse4(out, in, count); break;
        case 8: reverse8(out, in, count); break;
        default:
            if (count != 0) std::memcpy(out, in, count * width);
    }
}

size_t MatBinary::size(const cv::Mat& value) { return headerSize(value) + pixelSize(value); }

size_t MatBinary::headerSize(const cv::Mat& value) { return 16 + 4 * static_cast<size_t>(value.dims); }

size_t MatBinary::pixelSize(const cv::Mat& value) {
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

size_t MatBinary::writeHeader(char* out, const cv::Mat& value) {
    const int dims = value.dims;
    size_t used = writeField(no_swap, out, static_cast<std::uint32_t>(dims));
    for (int i = 0; i < dims; ++i) used += writeField(no_swap, out + used, value.size[i]);
    const int depth = value.flags & 7;
    used += writeField(no_swap, out + used, static_cast<std::uint32_t>(depth));
    used += writeField(no_swap, out + used, static_cast<std::uint32_t>(((value.flags >> 3) & 0x1FF) + 1));
    return used + writeField(no_swap, out + used, channelBytes(depth));
}

size_t MatBinary::write(Endian, char* out, const cv::Mat& value) {
    const size_t used = writeHeader(out, value);
    const size_t n = pixelSize(value);
    if (n == 0) return used;
    if (value.isContinuous()) {
        std::memcpy(out + used, value.data, n);
    } else {
        const cv::Mat continuous = value.clone();
        std::memcpy(out + used, continuous.data, n);
    }
    return used + n;
}

MatBinary::Header MatBinary::readHeader(Cursor& in) {
    if (in.endian() == swap) ZARVO_THROW(noSwapMessage);
    Header header;
    const std::uint32_t dims = in.field<std::uint32_t>();
    if (dims > maxDims) ZARVO_THROW("Matrix header holds " << dims << " dimensions, at most " << maxDims);
    header.dims = static_cast<int>(dims);
    int* const sizes = header.sizes;
    for (int i = 0; i < header.dims; ++i) {
        sizes[i] = in.field<int>();
        if (sizes[i] < 0) ZARVO_THROW("Matrix header holds the negative size " << sizes[i] << " in dimension " << i);
    }
    // A zero size anywhere means no elements, whatever the product of the others.
    size_t count = std::find(sizes, sizes + dims, 0) == sizes + dims ? 1 : 0;
    for (int i = 0; i < header.dims && count != 0; ++i) {
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
    header.type = CV_MAKETYPE(static_cast<int>(depth), static_cast<int>(channels));
    if (dims == 0) return header;
    const size_t elementBytes = CV_ELEM_SIZE(header.type);
    if (count > std::numeric_limits<size_t>::max() / elementBytes)
        ZARVO_THROW("Matrix header holds more pixel bytes than memory can address");
    header.pixelBytes = count * elementBytes;
    return header;
}

cv::Mat MatBinary::Header::wrap(void* pixels, size_t size) const {
    if (size != pixelBytes)
        ZARVO_THROW("Pixel block holds " << size << " bytes, the matrix header announces " << pixelBytes);
    if (dims == 0) return {};
    if (dims == 2) return cv::Mat(sizes[0], sizes[1], type, pixels);
    return cv::Mat(dims, sizes, type, pixels);
}

void MatBinary::read(Cursor& in, cv::Mat& value) {
    value.release();
    const Header header = readHeader(in);
    if (header.dims == 0) return;
    // Claim the pixel bytes before allocating, so a bounded read of bad bytes fails cleanly.
    in.require(header.pixelBytes);
    if (header.dims == 2) value.create(header.sizes[0], header.sizes[1], header.type);
    else value.create(header.dims, header.sizes, header.type);
    const size_t n = pixelSize(value);
    if (n != 0) std::memcpy(value.data, in.take(n), n);
}

}  // namespace zarvo::exp::Memory
