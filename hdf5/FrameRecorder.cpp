#include "hdf5/FrameRecorder.h"

#include <hdf5.h>

#include <algorithm>
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

namespace {

// Metadata columns grow by this many elements at a time on disk.
constexpr hsize_t kColumnChunk = 256;

using Leaves = std::vector<std::pair<std::string, std::shared_ptr<Variant>>>;

// Every value of a storage under its dotted key, groups walked into, in key order.
void collectLeaves(const Storage& storage, const std::string& prefix, Leaves& leaves) {
    for (const auto& [key, value] : storage) {
        if (value->getTypeInfo() == typeid(Storage))
            collectLeaves(*static_cast<const Storage*>(value->constAddress_imp()), prefix + key + ".", leaves);
        else
            leaves.emplace_back(prefix + key, value);
    }
}

Leaves leavesOf(const Frame& frame) {
    Leaves leaves;
    for (const std::string& key : frame.getMetaDataKeys()) {
        std::shared_ptr<Variant> value;
        frame.getMetaDate(key, value);
        if (value->getTypeInfo() == typeid(Storage))
            collectLeaves(*static_cast<const Storage*>(value->constAddress_imp()), key + ".", leaves);
        else
            leaves.emplace_back(key, value);
    }
    return leaves;
}

std::string columnPath(const std::string& recording, const std::string& key) {
    std::string path = internal::childPath(recording, "metadata/" + key);
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(recording.size()), path.end(), '.', '/');
    return path;
}

// A 1-D or (frames, image...) dataset that starts empty and grows by one frame at a time.
Handle createGrowing(hid_t file, const std::string& path, hid_t type, std::vector<hsize_t> chunk, int deflateLevel) {
    std::vector<hsize_t> dims = chunk, maxDims = chunk;
    dims[0] = 0;
    maxDims[0] = H5S_UNLIMITED;
    const int rank = static_cast<int>(chunk.size());
    Handle space = ZARVO_H5_OPEN(H5Screate_simple(rank, dims.data(), maxDims.data()), "'" << path << "': cannot make its space");
    Handle creation = ZARVO_H5_OPEN(H5Pcreate(H5P_DATASET_CREATE), "cannot make a dataset property list");
    H5Pset_chunk(creation.get(), rank, chunk.data());
    if (deflateLevel > 0) ZARVO_H5_CHECK(H5Pset_deflate(creation.get(), static_cast<unsigned>(deflateLevel)),
                                         "'" << path << "': deflate level " << deflateLevel << " is not 1 to 9");
    const bool frames = chunk.size() > 1;
    // Every frame is written whole before it is read: no fill values to write first.
    if (frames) H5Pset_fill_time(creation.get(), H5D_FILL_TIME_NEVER);
    Handle links = ZARVO_H5_OPEN(H5Pcreate(H5P_LINK_CREATE), "cannot make a link property list");
    H5Pset_create_intermediate_group(links.get(), 1);
    // Without a chunk cache a frame written whole goes from the caller's buffer to the
    // file; a frame is never written twice, so a cache would only copy it once more.
    Handle access = ZARVO_H5_OPEN(H5Pcreate(H5P_DATASET_ACCESS), "cannot make a dataset access property list");
    if (frames) H5Pset_chunk_cache(access.get(), 0, 0, H5D_CHUNK_CACHE_W0_DEFAULT);
    return ZARVO_H5_OPEN(H5Dcreate2(file, path.c_str(), type, space.get(), links.get(), creation.get(), access.get()),
                         "'" << path << "': cannot create the dataset");
}

// Makes room for element (or frame) index of a growing dataset.
void growTo(hid_t dataset, hsize_t frames, const std::string& path) {
    std::vector<hsize_t> dims = internal::shapeOf(dataset, path);
    if (dims[0] >= frames) return;
    dims[0] = frames;
    ZARVO_H5_CHECK(H5Dset_extent(dataset, dims.data()), "'" << path << "': cannot grow to " << frames << " frames");
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

}  // namespace

struct FrameRecorder::Layout {
    struct Column {
        std::string key;
        std::string typeName;
        std::string path;
        Handle dataset;
    };
    Handle images;
    std::string imagesPath;
    int imageType = 0;
    cv::Size imageSize;
    std::vector<Column> columns;
};

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path, Options options)
    : m_file(file), m_path(path), m_options(options) {
    m_file.requireWritable(path);
    if (options.deflateLevel < 0 || options.deflateLevel > 9)
        ZARVO_THROW("'" << path << "': deflate level " << options.deflateLevel << " is not 0 to 9");
}

FrameRecorder::FrameRecorder(RecordingFile& file, const std::string& path) : FrameRecorder(file, path, Options()) {}

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
    const hid_t file = m_file.id();
    auto layout = std::make_unique<Layout>();
    internal::createGroup(file, m_path, "recording");
    std::vector<hsize_t> chunk{1, static_cast<hsize_t>(image.rows), static_cast<hsize_t>(image.cols)};
    if (image.channels() > 1) chunk.push_back(static_cast<hsize_t>(image.channels()));
    layout->imagesPath = internal::childPath(m_path, "images");
    layout->images = createGrowing(file, layout->imagesPath, type, chunk, m_options.deflateLevel);
    internal::writeTextAttribute(layout->images.get(), internal::kTypeAttribute, "cvmat");
    layout->imageType = image.type();
    layout->imageSize = image.size();
    internal::createGroup(file, internal::childPath(m_path, "metadata"), "");
    for (const auto& [key, value] : leavesOf(frame)) {
        if (key.find('/') != std::string::npos)
            ZARVO_THROW("'" << m_path << "': metadata key '" << key << "' can not be an HDF5 member name");
        Layout::Column column{key, value->getTypeString(), columnPath(m_path, key), Handle()};
        Handle elementType = internal::columnElementType(column.typeName);
        const bool bytes = !elementType.valid();
        if (bytes) elementType = ZARVO_H5_OPEN(H5Tvlen_create(H5T_NATIVE_UINT8), "cannot make the byte form type");
        column.dataset = createGrowing(file, column.path, elementType.get(), {kColumnChunk}, 0);
        internal::writeTextAttribute(column.dataset.get(), internal::kTypeAttribute, column.typeName);
        if (bytes) internal::writeTextAttribute(column.dataset.get(), internal::kFormAttribute, internal::kByteForm);
        layout->columns.push_back(std::move(column));
    }
    if (m_options.singleWriterMultipleReader)
        ZARVO_H5_CHECK(H5Fstart_swmr_write(file), "'" << m_file.fileName() << "': cannot start single-writer/multiple-reader "
                                                         "mode (the file must be made by RecordingFile::create, with no "
                                                         "other object open)");
    m_layout = std::move(layout);
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

    // Metadata before pixels: a frame counts once its image is there and every column
    // has reached it too (frameCount takes the shortest).
    const hsize_t frames = m_count + 1;
    for (size_t i = 0; i < leaves.size(); ++i) {
        growTo(layout.columns[i].dataset.get(), frames, layout.columns[i].path);
        internal::writeColumnElement(layout.columns[i].dataset.get(), m_count, *leaves[i].second, layout.columns[i].path);
    }
    growTo(layout.images.get(), frames, layout.imagesPath);
    const cv::Mat dense = image.isContinuous() ? image : image.clone();
    std::vector<hsize_t> offset(image.channels() > 1 ? 4 : 3, 0);
    offset[0] = m_count;
    if (m_options.deflateLevel == 0) {
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
    ++m_count;
    if (m_options.flushEvery > 0 && m_count % m_options.flushEvery == 0) flush();
}

void FrameRecorder::flush() {
    if (m_layout) m_file.flush();
}

size_t FrameRecorder::frameCount(const RecordingFile& file, const std::string& path) {
    const hid_t id = file.id();
    openRecording(file, id, path);
    Handle images = internal::openObject(id, internal::childPath(path, "images"), H5I_DATASET);
    hsize_t frames = internal::shapeOf(images.get(), path + "/images").at(0);
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
    std::vector<hsize_t> dims = internal::shapeOf(images.get(), imagesPath);
    std::vector<hsize_t> start(dims.size(), 0);
    start[0] = index;
    dims[0] = 1;
    Handle space = ZARVO_H5_OPEN(H5Dget_space(images.get()), "'" << imagesPath << "': cannot read its space");
    H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start.data(), nullptr, dims.data(), nullptr);
    const cv::Mat image = internal::readPixels(images.get(), space.get(), {dims.begin() + 1, dims.end()}, imagesPath);

    Storage metadata;
    std::vector<std::pair<std::string, Handle>> columns;
    columnsBelow(id, internal::childPath(path, "metadata"), "", columns);
    for (const auto& [key, column] : columns)
        metadata.insert(key, internal::readColumnElement(column.get(), index, columnPath(path, key)));
    return Frame(image, std::move(metadata));
}

}  // namespace zarvo::hdf5
