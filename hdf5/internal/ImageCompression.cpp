#include "hdf5/internal/ImageCompression.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>

#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"

namespace zarvo::hdf5::internal {

using Compression = FrameRecorder::Compression;

namespace {

constexpr int kDefaultDeflateLevel = 4;

// Throws unless HDF5 can load the plugin filter and compress with it.
void requireFilter(H5Z_filter_t filter, const char* name, const char* package, const std::string& path) {
    if (!h5::zcanEncode(filter))
        ZARVO_THROW("'" << path << "': " << name << " compression (HDF5 filter " << filter
                        << ") is not available: install " << package << " (searched: HDF5_PLUGIN_PATH and "
                        << ZARVO_HDF5_PLUGIN_DIR << ")");
}

}  // namespace

Compression chosenCompression(const FrameRecorder::Options& options) {
    return options.compression == Compression::none && options.deflateLevel > 0 ? Compression::deflate
                                                                                : options.compression;
}

void setFilters(hid_t creation, const FrameRecorder::Options& options, const std::string& path) {
    switch (chosenCompression(options)) {
        case Compression::none: return;
        case Compression::deflate:
            h5::psetShuffle(creation);
            h5::psetDeflate(creation, static_cast<unsigned>(options.deflateLevel > 0 ? options.deflateLevel
                                                                                     : kDefaultDeflateLevel));
            return;
        case Compression::lz4:
            requireFilter(kLz4Filter, "LZ4", "Debian's hdf5-filter-plugin", path);
            h5::psetShuffle(creation);
            h5::psetFilter(creation, kLz4Filter, 0, nullptr);
            return;
        case Compression::bitshuffleLz4: {
            requireFilter(kBitshuffleFilter, "bitshuffle-LZ4", "a bitshuffle HDF5 plugin", path);
            // Three values the filter fills in itself, the block size (0: its own choice), 2: LZ4.
            const unsigned values[] = {0, 0, 0, 0, 2};
            h5::psetFilter(creation, kBitshuffleFilter, 5, values);
            return;
        }
    }
}

std::string compressionText(hid_t stack) {
    Handle creation = h5::dgetCreatePlist(stack);
    std::string text;
    bool shuffled = false;
    const int filters = h5::pgetNfilters(creation.get());
    for (int i = 0; i < filters; ++i) {
        unsigned level = 0;
        const H5Z_filter_t filter = h5::pgetFilter(creation.get(), static_cast<unsigned>(i), level);
        if (filter == H5Z_FILTER_SHUFFLE) shuffled = true;
        else if (filter == H5Z_FILTER_DEFLATE) text += "deflate " + std::to_string(level);
        else if (filter == kLz4Filter) text += "lz4";
        else if (filter == kBitshuffleFilter) text += "bitshuffle-lz4";
        else text += "filter " + std::to_string(filter);
    }
    if (text.empty()) return "none";
    return shuffled ? text + " + shuffle" : text;
}

// HDF5's filters allocate and free buffers of a chunk's size for every chunk. glibc maps
// such buffers from the kernel and unmaps them again each time, and the page faults of
// fresh pages then take longer than LZ4 itself (twice the time of a recording). Raised
// once, never lowered, so that these buffers come from the heap and stay for the next frame.
void keepFilterBuffers(size_t chunkBytes) {
#ifdef __GLIBC__
    static size_t raised = 0;
    const size_t wanted = std::min<size_t>(std::max<size_t>(4 * chunkBytes, size_t(4) << 20), size_t(32) << 20);
    if (wanted <= raised) return;
    raised = wanted;
    mallopt(M_MMAP_THRESHOLD, static_cast<int>(wanted));
    mallopt(M_TRIM_THRESHOLD, static_cast<int>(4 * wanted));
#else
    static_cast<void>(chunkBytes);
#endif
}

}  // namespace zarvo::hdf5::internal
