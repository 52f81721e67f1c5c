#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/datatypes/Frame.h"
#include "hdf5/RecordingFile.h"
#include "hdf5/RecordingReader.h"
#include "valuefault/Export.h"

namespace zarvo::hdf5 {

/// Appends frames one after another to a recording (a measurement run, one camera's
/// stream) at one path of a RecordingFile. The first frame (or the layout frame given to
/// the constructor) fixes the layout: every later frame has an image of the same size and
/// type and the same metadata keys with values of the same types, or append() throws
/// and writes nothing of it.
///
/// Layout at path: the group (zarvo_type "recording", a NeXus NXdata) holds "images",
/// a dataset of shape (frames, rows, cols[, channels]) chunked by frame, colour in RGB
/// order; "timestamps", int64 nanoseconds since the Unix epoch, one per frame and the
/// dimension scale of the frame axis of every other dataset; and "metadata", a dataset
/// of shape (frames,) per metadata key (dotted groups as subgroups). Read the frames back
/// with a RecordingReader, which reads a frame's chunk and elements alone.
///
/// Crash safety: the construction and every write leave the file whole on disk. By
/// default the file is switched to HDF5's single-writer/multiple-reader mode at the
/// first frame, and everything is flushed every 16 frames (Options::flushEvery), at
/// flush() and at destruction. A process killed at any moment leaves a file that
/// opens (RecordingFile::openReadOnly, or h5py with swmr=True) with every frame flushed
/// before the kill. In that mode the file takes no new objects: write other values and
/// construct every recorder of the file (several streams: one recorder per stream,
/// each given its layout frame) before the first frame.
class ZARVO_EXPORT FrameRecorder {
public:
    /// How the images of a recording are compressed.
    enum class Compression {
        none,           ///< stored as they are: the fastest
        deflate,        ///< HDF5's byte shuffle, then deflate (zlib) at Options::deflateLevel
        lz4,            ///< HDF5's byte shuffle, then LZ4 (filter 32004, Debian's hdf5-filter-plugin)
        bitshuffleLz4,  ///< bitshuffle with LZ4 (filter 32008), where its plugin is installed
    };

    /// How a recording is written.
    struct Options {
        /// Flush after every this many frames; 0 flushes only at flush() and at the end.
        size_t flushEvery = 16;
        /// Compression of the images; a filter HDF5 cannot load is refused at construction.
        Compression compression = Compression::none;
        /// Deflate level, 1 (fast) to 9 (small); 0 takes 4. Given with Compression::none it
        /// selects deflate, as it did before compression had a choice.
        int deflateLevel = 0;
        /// Switch the file to single-writer/multiple-reader mode at the first frame.
        bool singleWriterMultipleReader = true;
        /// Metadata key holding each frame's time, int64 or uint64 nanoseconds since the
        /// Unix epoch; empty: the time the frame is appended.
        std::string timeKey;
    };

    /// A recorder of a new recording at path in file, laid out by its first frame. The
    /// file must stay open while the recorder lives. Throws if the file is read only,
    /// records already, path exists, or the compression's filter is not available.
    FrameRecorder(RecordingFile& file, const std::string& path, Options options);
    /// As above, with the default options.
    FrameRecorder(RecordingFile& file, const std::string& path);
    /// A recorder of a new recording laid out at once by layout (which is not recorded),
    /// so that several streams can be declared before the first frame of any.
    FrameRecorder(RecordingFile& file, const std::string& path, const exp::Frame& layout, Options options);
    /// A recorder that appends to the recording at path in file, after a planned stop or,
    /// once the file is open again (RecordingFile::openToAppend), after a crash: frames
    /// already there stay, a frame cut short by the crash is dropped. The compression is
    /// the recording's; options give the rest.
    static FrameRecorder resume(RecordingFile& file, const std::string& path, Options options);
    /// As above, with the default options.
    static FrameRecorder resume(RecordingFile& file, const std::string& path);
    FrameRecorder(const FrameRecorder&) = delete;
    FrameRecorder& operator=(const FrameRecorder&) = delete;
    /// Flushes what was appended (errors are dropped: use flush() to see them).
    ~FrameRecorder();

    /// Appends frame as the next frame of the recording; flushes when the policy says so.
    void append(const exp::Frame& frame);
    /// Writes every appended frame to disk.
    void flush();
    /// Number of frames in the recording.
    size_t size() const { return m_count; }
    /// The last frame whose timestamp is at or before time (ns since the Unix epoch),
    /// by binary search; none if time is before the first frame.
    std::optional<size_t> frameAt(std::int64_t time) const;

    /// RecordingReader(file, path).frameCount(): number of complete frames of the recording.
    static size_t frameCount(const RecordingFile& file, const std::string& path);
    /// RecordingReader(file, path).readFrame(index): frame index, touching no other frame.
    static exp::Frame readFrame(const RecordingFile& file, const std::string& path, size_t index);
    /// RecordingReader(file, path).timestampOf(index): the timestamp of frame index.
    static std::int64_t timestampOf(const RecordingFile& file, const std::string& path, size_t index);
    /// RecordingReader(file, path).frameAt(time).
    static std::optional<size_t> frameAt(const RecordingFile& file, const std::string& path, std::int64_t time);
    /// RecordingReader(file, path).compressionOf(): "none", "deflate 4 + shuffle", "lz4 + shuffle", "bitshuffle-lz4".
    static std::string compressionOf(const RecordingFile& file, const std::string& path);

private:
    struct Layout;
    struct Resuming {};
    FrameRecorder(RecordingFile& file, const std::string& path, Options options, Resuming);
    // Creates the datasets from a frame's layout.
    void start(const exp::Frame& frame);

    RecordingFile& m_file;
    std::string m_path;
    Options m_options;
    size_t m_count = 0;
    std::int64_t m_lastTime = 0;
    std::unique_ptr<Layout> m_layout;
};

}  // namespace zarvo::hdf5
