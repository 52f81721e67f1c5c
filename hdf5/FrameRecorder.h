#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "core/datatypes/Frame.h"
#include "hdf5/RecordingFile.h"
#include "valuefault/Export.h"

namespace zarvo::hdf5 {

/// Appends frames one after another to a recording (a measurement run) at one path of
/// a RecordingFile. The first frame fixes the layout: every later frame has an image of
/// the same size and type and the same metadata keys with values of the same types,
/// or append() throws and writes nothing of it.
///
/// Layout at path: the group (zarvo_type "recording") holds "images", a dataset of
/// shape (frames, rows, cols[, channels]) chunked by frame, and "metadata", a dataset
/// of shape (frames,) per metadata key (dotted groups as subgroups). Read frame i back
/// with readFrame(), which reads that frame's chunk and elements alone.
///
/// Crash safety: by default the file is switched to HDF5's single-writer/multiple-reader
/// mode at the first frame, and everything is flushed every 16 frames
/// (Options::flushEvery), at flush() and at destruction. A process killed at any moment
/// leaves a file that opens (RecordingFile::openReadOnly, or h5py with swmr=True) with
/// every frame flushed before the kill. In that mode the file takes no new objects once
/// the first frame is written: write other values before it, use one recorder per file.
class ZARVO_EXPORT FrameRecorder {
public:
    /// How a recording is written.
    struct Options {
        /// Flush after every this many frames; 0 flushes only at flush() and at the end.
        size_t flushEvery = 16;
        /// Deflate level of the images, 1 (fast) to 9 (small); 0 stores them uncompressed.
        int deflateLevel = 0;
        /// Switch the file to single-writer/multiple-reader mode at the first frame.
        bool singleWriterMultipleReader = true;
    };

    /// A recorder of a new recording at path in file, which must stay open while the
    /// recorder lives. Throws if the file is read only or path exists.
    FrameRecorder(RecordingFile& file, const std::string& path, Options options);
    /// As above, with the default options.
    FrameRecorder(RecordingFile& file, const std::string& path);
    FrameRecorder(const FrameRecorder&) = delete;
    FrameRecorder& operator=(const FrameRecorder&) = delete;
    /// Flushes what was appended (errors are dropped: use flush() to see them).
    ~FrameRecorder();

    /// Appends frame as the next frame of the recording; flushes when the policy says so.
    void append(const exp::Frame& frame);
    /// Writes every appended frame to disk.
    void flush();
    /// Number of frames appended.
    size_t size() const { return m_count; }

    /// Number of complete frames of the recording at path in file.
    static size_t frameCount(const RecordingFile& file, const std::string& path);
    /// Reads frame index of the recording at path in file, touching no other frame.
    static exp::Frame readFrame(const RecordingFile& file, const std::string& path, size_t index);

private:
    struct Layout;
    // Creates the datasets from the first frame and starts single-writer mode if asked.
    void start(const exp::Frame& frame);

    RecordingFile& m_file;
    std::string m_path;
    Options m_options;
    size_t m_count = 0;
    std::unique_ptr<Layout> m_layout;
};

}  // namespace zarvo::hdf5
