#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "core/datatypes/Frame.h"
#include "hdf5/RecordingFile.h"
#include "valuefault/Export.h"

namespace zarvo::hdf5 {

/// Reads a recording that a FrameRecorder wrote, or is writing, at one path of a
/// RecordingFile: one frame at a time, touching no other frame, and frames by their
/// time. A reader of a file being recorded (opened read only) sees every frame flushed
/// so far; a frame cut short by a crash does not count.
class ZARVO_EXPORT RecordingReader {
public:
    /// A reader of the recording at path in file; the file must stay open while the
    /// reader lives. Throws if path holds no recording.
    RecordingReader(const RecordingFile& file, std::string path);

    /// Number of complete frames.
    size_t frameCount() const;
    /// Reads frame index.
    exp::Frame readFrame(size_t index) const;
    /// The timestamp of frame index, in nanoseconds since the Unix epoch.
    std::int64_t timestampOf(size_t index) const;
    /// The last frame whose timestamp is at or before time (ns since the Unix epoch),
    /// by binary search; none if time is before the first frame.
    std::optional<size_t> frameAt(std::int64_t time) const;
    /// The compression of the recording's images as text: "none", "deflate 4 + shuffle",
    /// "lz4 + shuffle", "bitshuffle-lz4".
    std::string compressionOf() const;

private:
    // Throws unless the recording has frame index; gives the file's identifier.
    std::int64_t requireFrame(size_t index) const;

    const RecordingFile& m_file;
    std::string m_path;
};

}  // namespace zarvo::hdf5
