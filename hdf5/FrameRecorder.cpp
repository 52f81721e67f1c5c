#include "hdf5/FrameRecorder.h"

#include <hdf5.h>
#include <hdf5_hl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <chrono>
#include <limits>
#include <cstdint>
#include <utility>
#include <vector>

#include "hdf5/internal/Handle.h"
#include "hdf5/internal/ValueCodec.h"

namespace zarvo::hdf5 {

using exp::DataStorage;
using exp::Frame;
using exp::Variant;
using internal::Handle;
using Storage = DataStorage<std::string>;
using Compression = FrameRecorder::Compression;

namespace {

// Metadata columns and timestamps grow by this many elements at a time on disk.
constexpr hsize_t kColumnChunk = 256;
// HDF5's registered numbers of the plugin filters.
constexpr H5Z_filter_t kLz4Filter = 32004;
constexpr H5Z_filter_t kBitshuffleFilter = 32008;
constexpr int kDefaultDeflateLevel = 4;

using Leaves = std::vector<std::pair<std::string, std::shared_ptr<Variant>>>;

// Every value of a storage under its dotted key, groups walked into, in key order.
void collectLeaves(const Storage& storage, const std::string& prefix, Leaves& leaves) {
    for (const auto& [key, value] : storage) {
        if (const Storage* group = Storage::groupOf(*value)) collectLeaves(*group, prefix + key + ".", leaves);
        else leaves.emplace_back(prefix + key, value);
    }
}

Leaves leavesOf(const Frame& frame) {
    Leaves leaves;
    collectLeaves(frame.getMetaData(), "", leaves);
    return leaves;
}

std::string columnPath(const std::string& recording, const std::string& key) {
    std::string path = internal::childPath(recording, "metadata/" + key);
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(recording.size()), path.end(), '.', '/');
    return path;
}

// The compression asked for, with deflate selected by a level alone as it was before.
Compression chosenCompression(const FrameRecorder::Options& options) {
    return options.compression == Compression::none && options.deflateLevel > 0 ? Compression::deflate
                                                                                 : options.compression;
}

// Throws unless HDF5 can load the plugin filter and compress with it.
void requireFilter(H5Z_filter_t filter, const char* name, const char* package, const std::string& path) {
    unsigned config = 0;
    if (H5Zfilter_avail(filter) <= 0 || H5Zget_filter_info(filter, &config) < 0 ||
        (config & H5Z_FILTER_CONFIG_ENCODE_ENABLED) == 0)
        ZARVO_THROW("'" << path << "': " << name << " compression (HDF5 filter " << filter
                        << ") is not available: install " << package << " (searched: HDF5_PLUGIN_PATH and "
                        << ZARVO_HDF5_PLUGIN_DIR << ")");
}

// Sets the images' filters on a dataset creation property list.
void setFilters(hid_t creation, const FrameRecorder::Options& options, const std::string& path) {
    switch (chosenCompression(options)) {
        case Compression::none: return;
        case Compression::deflate: {
            const int level = options.deflateLevel > 0 ? options.deflateLevel : kDefaultDeflateLevel;
            ZARVO_H5_CHECK(H5Pset_shuffle(creation), "'" << path << "': cannot set the byte shuffle");
            ZARVO_H5_CHECK(H5Pset_deflate(creation, static_cast<unsigned>(level)), "'" << path << "': cannot set deflate");
            return;
        }
        case Compression::lz4:
            requireFilter(kLz4Filter, "LZ4", "Debian's hdf5-filter-plugin", path);
            ZARVO_H5_CHECK(H5Pset_shuffle(creation), "'" << path << "': cannot set the byte shuffle");
            ZARVO_H5_CHECK(H5Pset_filter(creation, kLz4Filter, H5Z_FLAG_MANDATORY, 0, nullptr),
                           "'" << path << "': cannot set LZ4");
            return;
        case Compression::bitshuffleLz4: {
            requireFilter(kBitshuffleFilter, "bitshuffle-LZ4", "a bitshuffle HDF5 plugin", path);
            // Three values the filter fills in itself, the block size (0: its own choice), 2: LZ4.
            const unsigned values[] = {0, 0, 0, 0, 2};
            ZARVO_H5_CHECK(H5Pset_filter(creation, kBitshuffleFilter, H5Z_FLAG_MANDATORY, 5, values),
                           "'" << path << "': cannot set bitshuffle-LZ4");
            return;
        }
    }
}

// A 1-D or (frames, image...) dataset that starts empty and grows by one frame at a time.
Handle createGrowing(hid_t file, const std::string& path, hid_t type, std::vector<hsize_t> chunk,
                     const FrameRecorder::Options* filters) {
    std::vector<hsize_t> dims = chunk, maxDims = chunk;
    dims[0] = 0;
    maxDims[0] = H5S_UNLIMITED;
    const int rank = static_cast<int>(chunk.size());
    Handle space = ZARVO_H5_OPEN(H5Screate_simple(rank, dims.data(), maxDims.data()), "'" << path << "': cannot make its space");
    Handle creation = ZARVO_H5_OPEN(H5Pcreate(H5P_DATASET_CREATE), "cannot make a dataset property list");
    H5Pset_chunk(creation.get(), rank, chunk.data());
    if (filters != nullptr) setFilters(creation.get(), *filters, path);
    const bool frames = chunk.size() > 1;
    // Every frame is written whole before it is read: no fill values to write first.
    if (frames) H5Pset_fill_time(creation.get(), H5D_FILL_TIME_NEVER);
    Handle links = ZARVO_H5_OPEN(H5Pcreate(H5P_LINK_CREATE), "cannot make a link property list");
    H5Pset_create_intermediate_group(links.get(), 1);
    Handle access = ZARVO_H5_OPEN(H5Pcreate(H5P_DATASET_ACCESS), "cannot make a dataset access property list");
    // Without a chunk cache a frame written whole goes from the caller's buffer to the
    // file; a frame is never written twice, so a cache would only copy it once more.
    if (frames) H5Pset_chunk_cache(access.get(), 0, 0, H5D_CHUNK_CACHE_W0_DEFAULT);
    return ZARVO_H5_OPEN(H5Dcreate2(file, path.c_str(), type, space.get(), links.get(), creation.get(), access.get()),
                         "'" << path << "': cannot create the dataset");
}

// Sets the length of a growing dataset to frames.
void resize(hid_t dataset, hsize_t frames, const std::string& path) {
    std::vector<hsize_t> dims = internal::shapeOf(dataset, path);
    if (dims[0] == frames) return;
    dims[0] = frames;
    ZARVO_H5_CHECK(H5Dset_extent(dataset, dims.data()), "'" << path << "': cannot resize to " << frames << " frames");
}

std::string describe(cv::Size size, int type) {
    return std::to_string(size.height) + "x" + std::to_string(size.width) + " of type " + std::to_string(type);
}

// The column datasets below group, by their keys (dotted, relative to the metadata group).
void columnsBelow(hid_t file, const std::string& group, const std::string& prefix,
                  std::vector<std::pair<std::string, Handle>>& columns) {
    Handle handle = internal::openObject(file, group, H5I_GROUP);
    for (const std::string& name : internal::memberNames(handle.get(), group)) {
        const std::string member = internal::childPath(group, name);
        Handle object = ZARVO_H5_OPEN(H5Oopen(file, member.c_str(), H5P_DEFAULT), "'" << member << "': cannot open it");
        if (H5Iget_type(object.get()) == H5I_GROUP) columnsBelow(file, member, prefix + name + ".", columns);
        else columns.emplace_back(prefix + name, std::move(object));
    }
}

Handle openRecording(const RecordingFile& file, hid_t id, const std::string& path) {
    Handle group = internal::openObject(id, path, H5I_GROUP);
    const std::string typeName = internal::typeAttributeOf(group.get(), path);
    if (typeName != "recording")
        ZARVO_THROW("'" << path << "' in '" << file.fileName() << "': holds a '" << typeName << "', not a recording");
    return group;
}

// Names child as the group's default, as NeXus readers follow it, unless one is named.
void markDefault(hid_t file, const std::string& group, const std::string& child) {
    Handle handle = internal::openObject(file, group, H5I_GROUP);
    if (!internal::hasAttribute(handle.get(), "default")) internal::writeTextAttribute(handle.get(), "default", child);
}

// The recording's group: a NeXus NXdata whose signal is the frame stack; a plain parent
// group made for it becomes its NXentry.
void createRecordingGroup(hid_t file, const std::string& path) {
    Handle group = internal::createGroup(file, path, "recording");
    internal::writeTextAttribute(group.get(), "NX_class", "NXdata");
    internal::writeTextAttribute(group.get(), "signal", "images");
    const std::string trimmed = path.back() == '/' ? path.substr(0, path.size() - 1) : path;
    const size_t slash = trimmed.find_last_of('/');
    const std::string parent = slash == std::string::npos || slash == 0 ? "/" : trimmed.substr(0, slash);
    const std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
    if (parent != "/") {
        Handle entry = internal::openObject(file, parent, H5I_GROUP);
        if (internal::hasAttribute(entry.get(), internal::kTypeAttribute) || internal::hasAttribute(entry.get(), "NX_class"))
            return;
        internal::writeTextAttribute(entry.get(), "NX_class", "NXentry");
        const size_t start = parent.front() == '/' ? 1 : 0;
        if (parent.find('/', start) == std::string::npos) markDefault(file, "/", parent.substr(start));
    }
    markDefault(file, parent, name);
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

std::int64_t nowNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// The time a metadata value gives, or false if it holds no integer nanoseconds.
bool timeOf(const Variant& value, std::int64_t& time) {
    const void* held = value.constAddress_imp();
    if (value.getTypeInfo() == typeid(std::int64_t)) time = *static_cast<const std::int64_t*>(held);
    else if (value.getTypeInfo() == typeid(std::uint64_t)) time = static_cast<std::int64_t>(*static_cast<const std::uint64_t*>(held));
    else return false;
    return true;
}

}  // namespace

struct FrameRecorder::Layout {
    struct Column {
        std::string key;
        std::string typeName;
        std::string path;
        Handle dataset;
        bool bytes;  // holds byte forms, not native values
    };
    Handle images;
    std::string imagesPath;
    int imageType = 0;
    cv::Size imageSize;
    bool filtered = false;
    Handle timestamps;
    std::string timestampsPath;
    size_t timeColumn = 0;  // index of the column holding the time, when Options::timeKey names one
    std::vector<Column> columns;
};

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, Options options)
    : m_file(file), m_path(path), m_options(std::move(options)) {
    m_file.requireWritable(path);
    if (m_options.deflateLevel < 0 || m_options.deflateLevel > 9)
        ZARVO_THROW("'" << path << "': deflate level " << m_options.deflateLevel << " is not 0 to 9");
    // The filter is checked now, before anything is written: not at the first frame.
    Handle probe = ZARVO_H5_OPEN(H5Pcreate(H5P_DATASET_CREATE), "cannot make a dataset property list");
    const hsize_t chunk = 1;
    H5Pset_chunk(probe.get(), 1, &chunk);
    setFilters(probe.get(), m_options, path);
    m_file.writeWhole(path, [&] { createRecordingGroup(m_file.id(), path); });
}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path) : FrameRecorder(file, path, Options()) {}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, const Frame& layout, Options options)
    : FrameRecorder(file, path, std::move(options)) {
    start(layout);
}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, Options options, Resuming)
    : m_file(file), m_path(path), m_options(std::move(options)) {
    if (m_file.isReadOnly()) ZARVO_THROW("'" << m_file.fileName() << "' is open read only: cannot resume '" << path << "'");
    const hid_t id = m_file.id();
    openRecording(m_file, id, path);
    m_count = frameCount(m_file, path);
    auto layout = std::make_unique<Layout>();
    layout->imagesPath = internal::childPath(path, "images");
    // Killed before its first frame: laid out by the next one, as a new recording is.
    if (!m_file.contains(layout->imagesPath)) return;
    layout->timestampsPath = internal::childPath(path, "timestamps");
    if (!m_file.contains(layout->timestampsPath))
        ZARVO_THROW("'" << path << "': was recorded without timestamps and can not be resumed");
    Handle access = ZARVO_H5_OPEN(H5Pcreate(H5P_DATASET_ACCESS), "cannot make a dataset access property list");
    H5Pset_chunk_cache(access.get(), 0, 0, H5D_CHUNK_CACHE_W0_DEFAULT);
    layout->images = ZARVO_H5_OPEN(H5Dopen2(id, layout->imagesPath.c_str(), access.get()),
                                   "'" << layout->imagesPath << "': cannot open the dataset");
    const std::vector<hsize_t> dims = internal::shapeOf(layout->images.get(), layout->imagesPath);
    Handle type = ZARVO_H5_OPEN(H5Dget_type(layout->images.get()), "'" << layout->imagesPath << "': cannot read its type");
    const int depth = internal::depthOf(type.get());
    if (dims.size() < 3 || dims.size() > 4 || depth < 0)
        ZARVO_THROW("'" << layout->imagesPath << "': is no frame stack a recorder writes");
    layout->imageType = CV_MAKETYPE(depth, dims.size() == 4 ? static_cast<int>(dims[3]) : 1);
    layout->imageSize = cv::Size(static_cast<int>(dims[2]), static_cast<int>(dims[1]));
    Handle creation = ZARVO_H5_OPEN(H5Dget_create_plist(layout->images.get()), "cannot read the images' filters");
    layout->filtered = H5Pget_nfilters(creation.get()) > 0;
    if (layout->filtered) keepFilterBuffers(static_cast<size_t>(dims[1] * dims[2] * (dims.size() == 4 ? dims[3] : 1)) *
                                            H5Tget_size(type.get()));
    layout->timestamps = internal::openObject(id, layout->timestampsPath, H5I_DATASET);
    std::vector<std::pair<std::string, Handle>> columns;
    columnsBelow(id, internal::childPath(path, "metadata"), "", columns);
    for (auto& [key, dataset] : columns) {
        const bool bytes = internal::isByteForm(dataset.get(), key);
        Layout::Column column{key, internal::typeAttributeOf(dataset.get(), key), columnPath(path, key), std::move(dataset),
                              bytes};
        if (key == m_options.timeKey) layout->timeColumn = layout->columns.size();
        layout->columns.push_back(std::move(column));
    }
    // A frame cut short by a crash is dropped from every dataset, so the next one follows the last whole one.
    resize(layout->images.get(), m_count, layout->imagesPath);
    resize(layout->timestamps.get(), m_count, layout->timestampsPath);
    for (const Layout::Column& column : layout->columns) resize(column.dataset.get(), m_count, column.path);
    if (m_count > 0) m_lastTime = internal::readInt64Element(layout->timestamps.get(), m_count - 1, layout->timestampsPath);
    m_layout = std::move(layout);
    m_file.flush();
}

FrameRecorder FrameRecorder::resume(RecordingFile& file, const std::string& path, Options options) {
    return FrameRecorder(file, path, std::move(options), Resuming());
}

FrameRecorder FrameRecorder::resume(RecordingFile& file, const std::string& path) {
    return resume(file, path, Options());
}

FrameRecorder::~FrameRecorder() {
    try {
        flush();
    } catch (...) {
        // Nobody to tell from a destructor; flush() called before reports it.
    }
}

void FrameRecorder::start(const Frame& frame) {
    const cv::Mat& image = frame.getFrameData();
    const hid_t type = internal::pixelType(image.depth());
    if (image.dims != 2 || image.empty() || type < 0)
        ZARVO_THROW("'" << m_path << "': a recording takes non-empty 2-dimensional images with pixels of 8, 16 or 32-bit "
                           "integers or floats, not " << describe(image.size(), image.type()));
    if (m_file.isRecording())
        ZARVO_THROW("'" << m_path << "': the file records frames already and takes no new recording: declare every "
                           "recording before the first frame, each with its layout frame");
    const hid_t file = m_file.id();
    auto layout = std::make_unique<Layout>();
    std::vector<hsize_t> chunk{1, static_cast<hsize_t>(image.rows), static_cast<hsize_t>(image.cols)};
    if (image.channels() > 1) chunk.push_back(static_cast<hsize_t>(image.channels()));
    layout->imagesPath = internal::childPath(m_path, "images");
    layout->images = createGrowing(file, layout->imagesPath, type, chunk, &m_options);
    layout->filtered = chosenCompression(m_options) != Compression::none;
    if (layout->filtered) keepFilterBuffers(image.total() * image.elemSize());
    internal::writeTextAttribute(layout->images.get(), internal::kTypeAttribute, internal::kStackType);
    internal::writeTextAttribute(layout->images.get(), internal::kPerFrameAttribute, "axis 0");
    // NeXus's "rgba-image" is one colour image, not a stack of them: colour stacks go without.
    if (image.channels() == 1) internal::writeTextAttribute(layout->images.get(), "interpretation", "image");
    if (internal::storedAsRgb(image.channels()))
        internal::writeTextAttribute(layout->images.get(), internal::kChannelOrderAttribute, "RGB");
    layout->imageType = image.type();
    layout->imageSize = image.size();

    // The frame axis: the timestamps, a dimension scale every per-frame dataset is tied to.
    layout->timestampsPath = internal::childPath(m_path, "timestamps");
    layout->timestamps = createGrowing(file, layout->timestampsPath, H5T_NATIVE_INT64, {kColumnChunk}, nullptr);
    internal::writeTextAttribute(layout->timestamps.get(), internal::kTypeAttribute, "int64");
    internal::writeTextAttribute(layout->timestamps.get(), internal::kPerFrameAttribute, "axis 0");
    internal::writeTextAttribute(layout->timestamps.get(), "units", "ns since 1970-01-01T00:00:00Z");
    ZARVO_H5_CHECK(H5DSset_scale(layout->timestamps.get(), "timestamps"),
                   "'" << layout->timestampsPath << "': cannot make it a dimension scale");
    const auto tie = [&](hid_t dataset, const std::string& path) {
        ZARVO_H5_CHECK(H5DSattach_scale(dataset, layout->timestamps.get(), 0),
                       "'" << path << "': cannot tie its frame axis to the timestamps");
    };
    tie(layout->images.get(), layout->imagesPath);
    std::vector<std::string> axes(chunk.size(), ".");
    axes[0] = "timestamps";
    Handle group = internal::openObject(file, m_path, H5I_GROUP);
    internal::writeTextListAttribute(group.get(), "axes", axes);

    bool timeFound = m_options.timeKey.empty();
    internal::createGroup(file, internal::childPath(m_path, "metadata"), "");
    for (const auto& [key, value] : leavesOf(frame)) {
        if (key.find('/') != std::string::npos)
            ZARVO_THROW("'" << m_path << "': metadata key '" << key << "' can not be an HDF5 member name");
        std::int64_t time = 0;
        if (key == m_options.timeKey) {
            if (!timeOf(*value, time))
                ZARVO_THROW("'" << m_path << "': time key '" << key << "' holds a '" << value->getTypeString()
                                << "', not int64 or uint64 nanoseconds since the Unix epoch");
            layout->timeColumn = layout->columns.size();
            timeFound = true;
        }
        Handle elementType = internal::columnElementType(value->getTypeString());
        const bool bytes = !elementType.valid();
        Layout::Column column{key, value->getTypeString(), columnPath(m_path, key), Handle(), bytes};
        if (bytes) elementType = ZARVO_H5_OPEN(H5Tvlen_create(H5T_NATIVE_UINT8), "cannot make the byte form type");
        column.dataset = createGrowing(file, column.path, elementType.get(), {kColumnChunk}, nullptr);
        internal::writeTextAttribute(column.dataset.get(), internal::kTypeAttribute, column.typeName);
        internal::writeTextAttribute(column.dataset.get(), internal::kPerFrameAttribute, "axis 0");
        if (bytes) internal::writeTextAttribute(column.dataset.get(), internal::kFormAttribute, internal::kByteForm);
        tie(column.dataset.get(), column.path);
        layout->columns.push_back(std::move(column));
    }
    if (!timeFound) ZARVO_THROW("'" << m_path << "': the frame has no time key '" << m_options.timeKey << "'");
    m_layout = std::move(layout);
    m_file.flush();
}

void FrameRecorder::append(const Frame& frame) {
    if (!m_layout) start(frame);
    const Layout& layout = *m_layout;
    const cv::Mat& image = frame.getFrameData();
    const Leaves leaves = leavesOf(frame);
    const auto misfit = [&](const std::string& why) {
        ZARVO_THROW("'" << m_path << "': frame " << m_count << " does not fit the recording: " << why);
    };
    if (image.type() != layout.imageType || image.size() != layout.imageSize || image.dims != 2)
        misfit("image " + describe(image.size(), image.type()) + ", the first was " +
               describe(layout.imageSize, layout.imageType));
    if (leaves.size() != layout.columns.size()) misfit("other metadata keys than the first frame's");
    for (size_t i = 0; i < leaves.size(); ++i) {
        if (leaves[i].first != layout.columns[i].key) misfit("other metadata keys than the first frame's");
        if (leaves[i].second->getTypeString() != layout.columns[i].typeName)
            misfit("metadata '" + leaves[i].first + "' is a '" + leaves[i].second->getTypeString() + "', the first was a '" +
                   layout.columns[i].typeName + "'");
    }
    // Times never go back, so that frameAt() can search them: the clock's own steps
    // back are held at the last time, a caller's are refused.
    std::int64_t time = std::max(nowNanoseconds(), m_count > 0 ? m_lastTime : std::numeric_limits<std::int64_t>::min());
    if (!m_options.timeKey.empty()) {
        timeOf(*leaves[layout.timeColumn].second, time);
        if (m_count > 0 && time < m_lastTime)
            misfit("its time " + std::to_string(time) + " lies before the last frame's " + std::to_string(m_lastTime));
    }
    if (m_options.singleWriterMultipleReader && !m_file.isRecording())
        ZARVO_H5_CHECK(H5Fstart_swmr_write(m_file.id()),
                       "'" << m_file.fileName() << "': cannot start single-writer/multiple-reader mode (the file must be "
                                                   "made by RecordingFile::create, with no other object open)");

    // Metadata and time before pixels: a frame counts once its image is there and every
    // column has reached it too (frameCount takes the shortest).
    const hsize_t frames = m_count + 1;
    for (size_t i = 0; i < leaves.size(); ++i) {
        resize(layout.columns[i].dataset.get(), frames, layout.columns[i].path);
        internal::writeColumnElement(layout.columns[i].dataset.get(), m_count, *leaves[i].second, layout.columns[i].bytes,
                                     layout.columns[i].path);
    }
    resize(layout.timestamps.get(), frames, layout.timestampsPath);
    internal::writeColumnElement(layout.timestamps.get(), m_count, exp::Variant_<std::int64_t>(time), false,
                                 layout.timestampsPath);
    resize(layout.images.get(), frames, layout.imagesPath);
    const cv::Mat stored = internal::swapRedBlue(image);
    const cv::Mat dense = stored.isContinuous() ? stored : stored.clone();
    std::vector<hsize_t> offset(image.channels() > 1 ? 4 : 3, 0);
    offset[0] = m_count;
    if (!layout.filtered) {
        // A frame is one chunk: uncompressed, it goes to the file as it is, past HDF5's
        // chunk buffers and type conversion.
        ZARVO_H5_CHECK(H5Dwrite_chunk(layout.images.get(), H5P_DEFAULT, 0, offset.data(), dense.total() * dense.elemSize(),
                                      dense.data),
                       "'" << layout.imagesPath << "': cannot write frame " << m_count);
    } else {
        Handle space = ZARVO_H5_OPEN(H5Dget_space(layout.images.get()), "'" << layout.imagesPath << "': cannot read its space");
        std::vector<hsize_t> count = internal::shapeOf(layout.images.get(), layout.imagesPath);
        count[0] = 1;
        H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, offset.data(), nullptr, count.data(), nullptr);
        Handle memory = ZARVO_H5_OPEN(H5Screate_simple(static_cast<int>(count.size()), count.data(), nullptr),
                                      "cannot make a memory space");
        ZARVO_H5_CHECK(H5Dwrite(layout.images.get(), internal::pixelType(image.depth()), memory.get(), space.get(),
                                H5P_DEFAULT, dense.data),
                       "'" << layout.imagesPath << "': cannot write frame " << m_count);
    }
    m_lastTime = time;
    ++m_count;
    if (m_options.flushEvery > 0 && m_count % m_options.flushEvery == 0) flush();
}

void FrameRecorder::flush() {
    if (m_layout) m_file.flush();
}

std::optional<size_t> FrameRecorder::frameAt(std::int64_t time) const { return frameAt(m_file, m_path, time); }

size_t FrameRecorder::frameCount(const RecordingFile& file, const std::string& path) {
    const hid_t id = file.id();
    openRecording(file, id, path);
    const std::string imagesPath = internal::childPath(path, "images");
    // Declared by its constructor, a recording has no datasets until its first frame.
    if (!file.contains(imagesPath)) return 0;
    Handle images = internal::openObject(id, imagesPath, H5I_DATASET);
    hsize_t frames = internal::shapeOf(images.get(), imagesPath).at(0);
    const std::string timestampsPath = internal::childPath(path, "timestamps");
    if (file.contains(timestampsPath)) {
        Handle timestamps = internal::openObject(id, timestampsPath, H5I_DATASET);
        frames = std::min(frames, internal::shapeOf(timestamps.get(), timestampsPath).at(0));
    }
    std::vector<std::pair<std::string, Handle>> columns;
    columnsBelow(id, internal::childPath(path, "metadata"), "", columns);
    for (const auto& [key, column] : columns)
        frames = std::min(frames, internal::shapeOf(column.get(), key).at(0));
    return static_cast<size_t>(frames);
}

Frame FrameRecorder::readFrame(const RecordingFile& file, const std::string& path, size_t index) {
    const size_t frames = frameCount(file, path);
    if (index >= frames) ZARVO_THROW("'" << path << "': has " << frames << " frames, no frame " << index);
    const hid_t id = file.id();
    const std::string imagesPath = internal::childPath(path, "images");
    Handle images = internal::openObject(id, imagesPath, H5I_DATASET);
    const cv::Mat image = internal::readStackFrame(images.get(), index, imagesPath);
    Storage metadata;
    std::vector<std::pair<std::string, Handle>> columns;
    columnsBelow(id, internal::childPath(path, "metadata"), "", columns);
    for (const auto& [key, column] : columns)
        metadata.insert(key, internal::readColumnElement(column.get(), index, columnPath(path, key)));
    return Frame(image, std::move(metadata));
}

std::int64_t FrameRecorder::timestampOf(const RecordingFile& file, const std::string& path, size_t index) {
    const size_t frames = frameCount(file, path);
    if (index >= frames) ZARVO_THROW("'" << path << "': has " << frames << " frames, no frame " << index);
    const std::string timestampsPath = internal::childPath(path, "timestamps");
    Handle timestamps = internal::openObject(file.id(), timestampsPath, H5I_DATASET);
    return internal::readInt64Element(timestamps.get(), index, timestampsPath);
}

std::optional<size_t> FrameRecorder::frameAt(const RecordingFile& file, const std::string& path, std::int64_t time) {
    const size_t frames = frameCount(file, path);
    const std::string timestampsPath = internal::childPath(path, "timestamps");
    if (frames == 0) return std::nullopt;
    Handle timestamps = internal::openObject(file.id(), timestampsPath, H5I_DATASET);
    // The first frame later than time, among times that never go back.
    size_t low = 0, high = frames;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (internal::readInt64Element(timestamps.get(), middle, timestampsPath) <= time) low = middle + 1;
        else high = middle;
    }
    return low == 0 ? std::nullopt : std::optional<size_t>(low - 1);
}

std::string FrameRecorder::compressionOf(const RecordingFile& file, const std::string& path) {
    openRecording(file, file.id(), path);
    const std::string imagesPath = internal::childPath(path, "images");
    if (!file.contains(imagesPath)) return "none";
    Handle images = internal::openObject(file.id(), imagesPath, H5I_DATASET);
    Handle creation = ZARVO_H5_OPEN(H5Dget_create_plist(images.get()), "'" << imagesPath << "': cannot read its filters");
    std::string text;
    bool shuffled = false;
    for (int i = 0; i < H5Pget_nfilters(creation.get()); ++i) {
        unsigned flags = 0, config = 0;
        size_t count = 1;
        unsigned level = 0;
        const H5Z_filter_t filter = H5Pget_filter2(creation.get(), static_cast<unsigned>(i), &flags, &count, &level, 0,
                                                   nullptr, &config);
        if (filter == H5Z_FILTER_SHUFFLE) shuffled = true;
        else if (filter == H5Z_FILTER_DEFLATE) text += "deflate " + std::to_string(level);
        else if (filter == kLz4Filter) text += "lz4";
        else if (filter == kBitshuffleFilter) text += "bitshuffle-lz4";
        else text += "filter " + std::to_string(filter);
    }
    if (text.empty()) return "none";
    return shuffled ? text + " + shuffle" : text;
}

}  // namespace zarvo::hdf5
