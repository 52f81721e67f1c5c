#include "hdf5/FrameRecorder.h"

#include <hdf5.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "core/datatypes/UnixTime.h"
#include "hdf5/RecordingReader.h"
#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/ImageCompression.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/NativeTypes.h"
#include "hdf5/internal/Pixels.h"
#include "hdf5/internal/RecordingLayout.h"
#include "hdf5/internal/Shared.h"
#include "hdf5/internal/Texts.h"
#include "hdf5/internal/ValueCodec.h"

namespace zarvo::hdf5 {

using exp::Frame;
using exp::Variant;
using internal::Handle;
using Storage = exp::DataStorage<std::string>;
using Compression = FrameRecorder::Compression;
namespace h5 = internal::h5;

namespace {

// Metadata columns and timestamps grow by this many elements at a time on disk.
constexpr hsize_t kColumnChunk = 256;

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

// A 1-D or (frames, image...) dataset that starts empty and grows by one frame at a time.
Handle createGrowing(hid_t file, const std::string& path, hid_t type, std::vector<hsize_t> chunk,
                     const FrameRecorder::Options* filters) {
    std::vector<hsize_t> dims = chunk, maxDims = chunk;
    dims[0] = 0;
    maxDims[0] = H5S_UNLIMITED;
    const int rank = static_cast<int>(chunk.size());
    Handle space = h5::screateSimple(rank, dims.data(), maxDims.data());
    Handle creation = h5::pcreate(H5P_DATASET_CREATE);
    h5::psetChunk(creation.get(), rank, chunk.data());
    if (filters != nullptr) internal::setFilters(creation.get(), *filters, path);
    const bool frames = chunk.size() > 1;
    // Every frame is written whole before it is read: no fill values to write first.
    if (frames) h5::psetFillTime(creation.get(), H5D_FILL_TIME_NEVER);
    Handle access = h5::pcreate(H5P_DATASET_ACCESS);
    // Without a chunk cache a frame written whole goes from the caller's buffer to the
    // file; a frame is never written twice, so a cache would only copy it once more.
    if (frames) h5::psetChunkCache(access.get(), 0, 0);
    return h5::dcreate(file, path, type, space.get(), internal::createMissingGroups(), creation.get(), access.get());
}

// Sets the length of a growing dataset to frames.
void resize(hid_t dataset, hsize_t frames) {
    std::vector<hsize_t> dims = internal::shapeOf(dataset);
    if (dims[0] == frames) return;
    dims[0] = frames;
    h5::dsetExtent(dataset, dims.data());
}

// Tags a growing dataset as one element per frame of values of typeName.
void markPerFrame(hid_t dataset, const std::string& typeName) {
    internal::writeTextAttribute(dataset, internal::kTypeAttribute, typeName);
    internal::writeTextAttribute(dataset, internal::kPerFrameAttribute, internal::kFrameAxis);
}

std::string describe(cv::Size size, int type) {
    return std::to_string(size.height) + "x" + std::to_string(size.width) + " of type " + std::to_string(type);
}

// Names child as the group's default, as NeXus readers follow it, unless one is named.
void markDefault(hid_t file, const std::string& group, const std::string& child) {
    Handle handle = internal::openObject(file, group, H5I_GROUP);
    if (!internal::hasAttribute(handle.get(), "default")) internal::writeTextAttribute(handle.get(), "default", child);
}

// The recording's group: a NeXus NXdata whose signal is the frame stack; a plain parent
// group made for it becomes its NXentry.
void createRecordingGroup(hid_t file, const std::string& path) {
    Handle group = internal::createGroup(file, path, internal::kRecordingType);
    internal::writeTextAttribute(group.get(), "NX_class", "NXdata");
    internal::writeTextAttribute(group.get(), "signal", internal::kImages);
    const std::string trimmed = path.back() == '/' ? path.substr(0, path.size() - 1) : path;
    const size_t slash = trimmed.find_last_of('/');
    const std::string parent = slash == std::string::npos || slash == 0 ? "/" : trimmed.substr(0, slash);
    const std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
    if (parent != "/") {
        Handle entry = internal::openObject(file, parent, H5I_GROUP);
        if (internal::hasAttribute(entry.get(), internal::kTypeAttribute) ||
            internal::hasAttribute(entry.get(), "NX_class"))
            return;
        internal::writeTextAttribute(entry.get(), "NX_class", "NXentry");
        const size_t start = parent.front() == '/' ? 1 : 0;
        if (parent.find('/', start) == std::string::npos) markDefault(file, "/", parent.substr(start));
    }
    markDefault(file, parent, name);
}

// The time a metadata value gives, or false if it holds no integer nanoseconds.
bool timeOf(const Variant& value, std::int64_t& time) {
    if (const auto* signedTime = value.getIf<std::int64_t>()) time = *signedTime;
    else if (const auto* unsignedTime = value.getIf<std::uint64_t>()) time = static_cast<std::int64_t>(*unsignedTime);
    else return false;
    return true;
}

}  // namespace

struct FrameRecorder::Layout {
    struct Column {
        std::string key;
        std::string typeName;
        Handle dataset;
        bool bytes;  // holds byte forms, not native values
    };
    Handle images;
    int imageType = 0;
    cv::Size imageSize;
    bool filtered = false;
    Handle timestamps;
    size_t timeColumn = 0;  // index of the column holding the time, when Options::timeKey names one
    std::vector<Column> columns;

    // Creates the frame stack of images like image.
    void createImages(hid_t file, const std::string& path, const cv::Mat& image, const Options& options) {
        std::vector<hsize_t> chunk{1, static_cast<hsize_t>(image.rows), static_cast<hsize_t>(image.cols)};
        if (image.channels() > 1) chunk.push_back(static_cast<hsize_t>(image.channels()));
        images = createGrowing(file, internal::childPath(path, internal::kImages), internal::pixelType(image.depth()),
                               chunk, &options);
        filtered = internal::chosenCompression(options) != Compression::none;
        if (filtered) internal::keepFilterBuffers(image.total() * image.elemSize());
        markPerFrame(images.get(), internal::kStackType);
        // NeXus's "rgba-image" is one colour image, not a stack of them: colour stacks go without.
        if (image.channels() == 1) internal::writeTextAttribute(images.get(), "interpretation", "image");
        if (internal::storedAsRgb(image.channels()))
            internal::writeTextAttribute(images.get(), internal::kChannelOrderAttribute, internal::kRgb);
        imageType = image.type();
        imageSize = image.size();
        std::vector<std::string> axes(chunk.size(), ".");
        axes[0] = internal::kTimestamps;
        Handle group = internal::openObject(file, path, H5I_GROUP);
        internal::writeTextListAttribute(group.get(), "axes", axes);
    }

    // Creates the frame axis: the timestamps, a dimension scale every per-frame dataset is tied to.
    void createTimestamps(hid_t file, const std::string& path) {
        timestamps = createGrowing(file, internal::childPath(path, internal::kTimestamps), H5T_NATIVE_INT64,
                                   {kColumnChunk}, nullptr);
        markPerFrame(timestamps.get(), "int64");
        internal::writeTextAttribute(timestamps.get(), "units", "ns since 1970-01-01T00:00:00Z");
        h5::dsSetScale(timestamps.get(), internal::kTimestamps);
        h5::dsAttachScale(images.get(), timestamps.get(), 0);
    }

    // Creates the column of a metadata key, natively where a column holds its type.
    void createColumn(hid_t file, const std::string& path, const std::string& key, const Variant& value) {
        Column column{key, value.getTypeString(), Handle(), false};
        Handle elementType = internal::columnElementType(column.typeName, column.bytes);
        column.dataset =
            createGrowing(file, internal::columnPath(path, key), elementType.get(), {kColumnChunk}, nullptr);
        markPerFrame(column.dataset.get(), column.typeName);
        if (column.bytes)
            internal::writeTextAttribute(column.dataset.get(), internal::kFormAttribute, internal::kByteForm);
        h5::dsAttachScale(column.dataset.get(), timestamps.get(), 0);
        columns.push_back(std::move(column));
    }

    // Opens the datasets of a recording made before, laid out as its frame stack says.
    void open(hid_t file, const std::string& path, const std::string& timeKey) {
        Handle access = h5::pcreate(H5P_DATASET_ACCESS);
        h5::psetChunkCache(access.get(), 0, 0);
        images = h5::dopen(file, internal::childPath(path, internal::kImages), access.get());
        const std::vector<hsize_t> dims = internal::shapeOf(images.get());
        Handle type = h5::dgetType(images.get());
        const int depth = internal::depthOf(type.get());
        if (dims.size() < 3 || dims.size() > 4 || depth < 0)
            internal::failAt(images.get(), "is no frame stack a recorder writes");
        imageType = CV_MAKETYPE(depth, dims.size() == 4 ? static_cast<int>(dims[3]) : 1);
        imageSize = cv::Size(static_cast<int>(dims[2]), static_cast<int>(dims[1]));
        Handle creation = h5::dgetCreatePlist(images.get());
        filtered = h5::pgetNfilters(creation.get()) > 0;
        if (filtered)
            internal::keepFilterBuffers(static_cast<size_t>(dims[1] * dims[2] * (dims.size() == 4 ? dims[3] : 1)) *
                                        h5::tgetSize(type.get()));
        timestamps = internal::openObject(file, internal::childPath(path, internal::kTimestamps), H5I_DATASET);
        for (auto& [key, dataset] : internal::columnsOf(file, path)) {
            const bool bytes = internal::isByteForm(dataset.get());
            if (key == timeKey) timeColumn = columns.size();
            columns.push_back({key, internal::typeAttributeOf(dataset.get()), std::move(dataset), bytes});
        }
    }

    // Why frame does not fit the layout, with its metadata leaves; empty when it fits.
    std::string misfitOf(const cv::Mat& image, const Leaves& leaves) const {
        if (image.type() != imageType || image.size() != imageSize || image.dims != 2)
            return "image " + describe(image.size(), image.type()) + ", the first was " +
                   describe(imageSize, imageType);
        if (leaves.size() != columns.size()) return "other metadata keys than the first frame's";
        for (size_t i = 0; i < leaves.size(); ++i) {
            if (leaves[i].first != columns[i].key) return "other metadata keys than the first frame's";
            if (leaves[i].second->getTypeString() != columns[i].typeName)
                return "metadata '" + leaves[i].first + "' is a '" + leaves[i].second->getTypeString() +
                       "', the first was a '" + columns[i].typeName + "'";
        }
        return "";
    }

    // Writes frame index. Metadata and time before pixels: a frame counts once its image
    // is there and every column has reached it too (frameCount takes the shortest).
    void write(hsize_t index, const cv::Mat& image, const Leaves& leaves, std::int64_t time) const {
        for (size_t i = 0; i < leaves.size(); ++i) {
            resize(columns[i].dataset.get(), index + 1);
            internal::writeColumnElement(columns[i].dataset.get(), index, *leaves[i].second, columns[i].bytes);
        }
        resize(timestamps.get(), index + 1);
        internal::writeColumnElement(timestamps.get(), index, exp::Variant_<std::int64_t>(time), false);
        resize(images.get(), index + 1);
        internal::writeStackFrame(images.get(), index, image, filtered);
    }
};

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, Options options)
    : m_file(file), m_path(path), m_options(std::move(options)) {
    m_file.requireWritable(path);
    if (m_options.deflateLevel < 0 || m_options.deflateLevel > 9)
        ZARVO_THROW("'" << path << "': deflate level " << m_options.deflateLevel << " is not 0 to 9");
    // The filter is checked now, before anything is written: not at the first frame.
    Handle probe = h5::pcreate(H5P_DATASET_CREATE);
    const hsize_t chunk = 1;
    h5::psetChunk(probe.get(), 1, &chunk);
    internal::setFilters(probe.get(), m_options, path);
    m_file.writeWhole(path, [&] { createRecordingGroup(m_file.id(), path); });
}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path) : FrameRecorder(file, path, Options()) {}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, const Frame& layout, Options options)
    : FrameRecorder(file, path, std::move(options)) {
    start(layout);
}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, Options options, Resuming)
    : m_file(file), m_path(path), m_options(std::move(options)) {
    if (m_file.isReadOnly())
        ZARVO_THROW("'" << m_file.fileName() << "' is open read only: cannot resume '" << path << "'");
    m_count = RecordingReader(m_file, path).frameCount();
    // Killed before its first frame: laid out by the next one, as a new recording is.
    if (!m_file.contains(internal::childPath(path, internal::kImages))) return;
    if (!m_file.contains(internal::childPath(path, internal::kTimestamps)))
        ZARVO_THROW("'" << path << "': was recorded without timestamps and can not be resumed");
    auto layout = std::make_unique<Layout>();
    layout->open(m_file.id(), path, m_options.timeKey);
    // A frame cut short by a crash is dropped from every dataset, so the next one follows the last whole one.
    resize(layout->images.get(), m_count);
    resize(layout->timestamps.get(), m_count);
    for (const Layout::Column& column : layout->columns) resize(column.dataset.get(), m_count);
    if (m_count > 0) m_lastTime = internal::readInt64Element(layout->timestamps.get(), m_count - 1);
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
    if (image.dims != 2 || image.empty() || internal::pixelType(image.depth()) < 0)
        ZARVO_THROW("'" << m_path
                        << "': a recording takes non-empty 2-dimensional images with pixels of 8, 16 or 32-bit "
                           "integers or floats, not "
                        << describe(image.size(), image.type()));
    if (m_file.isRecording())
        ZARVO_THROW("'" << m_path
                        << "': the file records frames already and takes no new recording: declare every "
                           "recording before the first frame, each with its layout frame");
    const hid_t file = m_file.id();
    auto layout = std::make_unique<Layout>();
    layout->createImages(file, m_path, image, m_options);
    layout->createTimestamps(file, m_path);
    bool timeFound = m_options.timeKey.empty();
    internal::createGroup(file, internal::childPath(m_path, internal::kMetadata), "");
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
        layout->createColumn(file, m_path, key, *value);
    }
    if (!timeFound) ZARVO_THROW("'" << m_path << "': the frame has no time key '" << m_options.timeKey << "'");
    m_layout = std::move(layout);
    m_file.flush();
}

void FrameRecorder::append(const Frame& frame) {
    if (!m_layout) start(frame);
    const Leaves leaves = leavesOf(frame);
    const auto misfit = [&](const std::string& why) {
        ZARVO_THROW("'" << m_path << "': frame " << m_count << " does not fit the recording: " << why);
    };
    const std::string why = m_layout->misfitOf(frame.getFrameData(), leaves);
    if (!why.empty()) misfit(why);
    // Times never go back, so that frameAt() can search them: the clock's own steps
    // back are held at the last time, a caller's are refused.
    std::int64_t time =
        std::max(exp::UnixTime::nowNanoseconds(), m_count > 0 ? m_lastTime : std::numeric_limits<std::int64_t>::min());
    if (!m_options.timeKey.empty()) {
        timeOf(*leaves[m_layout->timeColumn].second, time);
        if (m_count > 0 && time < m_lastTime)
            misfit("its time " + std::to_string(time) + " lies before the last frame's " + std::to_string(m_lastTime));
    }
    if (m_options.singleWriterMultipleReader && !m_file.isRecording()) {
        try {
            h5::fstartSwmrWrite(m_file.id());
        } catch (const Exception& error) {
            ZARVO_THROW(
                error.message() << ": the file must be made by RecordingFile::create, with no other object open");
        }
    }
    m_layout->write(m_count, frame.getFrameData(), leaves, time);
    m_lastTime = time;
    ++m_count;
    if (m_options.flushEvery > 0 && m_count % m_options.flushEvery == 0) flush();
}

void FrameRecorder::flush() {
    if (m_layout) m_file.flush();
}

std::optional<size_t> FrameRecorder::frameAt(std::int64_t time) const { return frameAt(m_file, m_path, time); }

size_t FrameRecorder::frameCount(const RecordingFile& file, const std::string& path) {
    return RecordingReader(file, path).frameCount();
}

Frame FrameRecorder::readFrame(const RecordingFile& file, const std::string& path, size_t index) {
    return RecordingReader(file, path).readFrame(index);
}

std::int64_t FrameRecorder::timestampOf(const RecordingFile& file, const std::string& path, size_t index) {
    return RecordingReader(file, path).timestampOf(index);
}

std::optional<size_t> FrameRecorder::frameAt(const RecordingFile& file, const std::string& path, std::int64_t time) {
    return RecordingReader(file, path).frameAt(time);
}

std::string FrameRecorder::compressionOf(const RecordingFile& file, const std::string& path) {
    return RecordingReader(file, path).compressionOf();
}

}  // namespace zarvo::hdf5
