#include "hdf5/RecordingReader.h"

#include <hdf5.h>

#include <algorithm>
#include <utility>

#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/ImageCompression.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/NativeTypes.h"
#include "hdf5/internal/Pixels.h"
#include "hdf5/internal/RecordingLayout.h"
#include "hdf5/internal/ValueCodec.h"

namespace zarvo::hdf5 {

using exp::Frame;
using internal::Handle;

RecordingReader::RecordingReader(const RecordingFile& file, std::string path) : m_file(file), m_path(std::move(path)) {
    internal::openRecording(m_file.id(), m_path, m_file.fileName());
}

size_t RecordingReader::frameCount() const {
    const hid_t file = m_file.id();
    const std::string imagesPath = internal::childPath(m_path, internal::kImages);
    // Declared by its constructor, a recording has no datasets until its first frame.
    if (!m_file.contains(imagesPath)) return 0;
    // A frame counts once its image and every column have reached it.
    Handle images = internal::openObject(file, imagesPath, H5I_DATASET);
    hsize_t frames = internal::shapeOf(images.get()).at(0);
    const std::string timestampsPath = internal::childPath(m_path, internal::kTimestamps);
    if (m_file.contains(timestampsPath)) {
        Handle timestamps = internal::openObject(file, timestampsPath, H5I_DATASET);
        frames = std::min(frames, internal::shapeOf(timestamps.get()).at(0));
    }
    for (const auto& [key, column] : internal::columnsOf(file, m_path))
        frames = std::min(frames, internal::shapeOf(column.get()).at(0));
    return static_cast<size_t>(frames);
}

std::int64_t RecordingReader::requireFrame(size_t index) const {
    const size_t frames = frameCount();
    if (index >= frames) ZARVO_THROW("'" << m_path << "': has " << frames << " frames, no frame " << index);
    return m_file.id();
}

Frame RecordingReader::readFrame(size_t index) const {
    const hid_t file = requireFrame(index);
    Handle images = internal::openObject(file, internal::childPath(m_path, internal::kImages), H5I_DATASET);
    const cv::Mat image = internal::readStackFrame(images.get(), index);
    exp::DataStorage<std::string> metadata;
    for (const auto& [key, column] : internal::columnsOf(file, m_path))
        metadata.insert(key, internal::readColumnElement(column.get(), index));
    return Frame(image, std::move(metadata));
}

std::int64_t RecordingReader::timestampOf(size_t index) const {
    const hid_t file = requireFrame(index);
    Handle timestamps = internal::openObject(file, internal::childPath(m_path, internal::kTimestamps), H5I_DATASET);
    return internal::readInt64Element(timestamps.get(), index);
}

std::optional<size_t> RecordingReader::frameAt(std::int64_t time) const {
    const size_t frames = frameCount();
    if (frames == 0) return std::nullopt;
    Handle timestamps =
        internal::openObject(m_file.id(), internal::childPath(m_path, internal::kTimestamps), H5I_DATASET);
    // The first frame later than time, among times that never go back.
    size_t low = 0, high = frames;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (internal::readInt64Element(timestamps.get(), middle) <= time) low = middle + 1;
        else high = middle;
    }
    return low == 0 ? std::nullopt : std::optional<size_t>(low - 1);
}

std::string RecordingReader::compressionOf() const {
    const std::string imagesPath = internal::childPath(m_path, internal::kImages);
    if (!m_file.contains(imagesPath)) return "none";
    Handle images = internal::openObject(m_file.id(), imagesPath, H5I_DATASET);
    return internal::compressionText(images.get());
}

}  // namespace zarvo::hdf5
