#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Frame.h"
#include "core/datatypes/Variant.h"
#include "valuefault/Export.h"

namespace zarvo::hdf5 {

/// An HDF5 file holding values, storages, frames and recordings, each under a
/// slash-separated path of the caller's choosing ("run1/calibration/gain"). The
/// objects are laid out so that h5py, HDFView or MATLAB read them without this
/// library (see "Recording to HDF5" in the README). Every failure is a
/// zarvo::Exception; HDF5's own error printing is off. Move only. Debian's HDF5 is built
/// without thread safety: a process uses all its files from one thread at a time.
class ZARVO_EXPORT RecordingFile {
public:
    /// One object of the file, as list() gives it.
    struct Entry {
        std::string path;                 ///< from the root, e.g. "/run1/calibration/gain"
        std::string typeName;             ///< registered name, or "storage", "frame", "recording", "" for a plain group
        std::string shape;                ///< of a dataset: "scalar" or "(480, 640)"; empty for a group
        std::vector<std::uint64_t> dims;  ///< of a dataset: its dimensions, none for a scalar or a group
        bool perFrame;                    ///< whether the dataset holds one element per frame of a recording
    };

    /// Creates the file, replacing one of that name; open for reading and writing. The
    /// root is a NeXus NXroot naming its creator, version and creation time (UTC).
    static RecordingFile create(const std::string& fileName);
    /// Opens an existing file for reading and writing, to add objects or resume a
    /// recording; also a file whose writer was killed.
    static RecordingFile openToAppend(const std::string& fileName);
    /// Opens an existing file for reading only; also a file being recorded or whose
    /// writer was killed at any moment after create() returned.
    static RecordingFile openReadOnly(const std::string& fileName);

    /// Takes other's open file; other is left closed.
    RecordingFile(RecordingFile&& other) noexcept;
    /// Closes the present file, then takes other's.
    RecordingFile& operator=(RecordingFile&& other) noexcept;
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;
    /// Closes the file (see close()).
    ~RecordingFile();

    /// Writes everything to disk and closes the file; later calls but close() throw.
    void close();
    /// Whether the file is open.
    bool isOpen() const { return m_id >= 0; }
    /// Whether the file was opened read only.
    bool isReadOnly() const { return m_readOnly; }
    /// The name the file was opened by.
    const std::string& fileName() const { return m_fileName; }
    /// Writes all buffered data and metadata to disk.
    void flush();

    /// Whether an object (group or dataset) exists at path.
    bool contains(const std::string& path) const;
    /// Every object below the root, depth first in name order.
    std::vector<Entry> list() const;

    /// Writes value as a dataset at path, making missing groups; natively where HDF5 has
    /// the type, otherwise as its byte form. Throws if path exists or value is empty.
    /// Like every write, it is on disk when the call returns.
    void writeValue(const std::string& path, const std::shared_ptr<exp::Variant>& value);
    /// Reads the dataset at path back as the type its zarvo_type attribute names; refuses
    /// a recording's per-frame dataset (see readElement).
    std::shared_ptr<exp::Variant> readValue(const std::string& path) const;
    /// Reads element index of a recording's per-frame dataset at path: a frame's image
    /// of its "images", a frame's value of a metadata column or of its "timestamps".
    std::shared_ptr<exp::Variant> readElement(const std::string& path, size_t index) const;

    /// Writes storage as a group at path: a dataset per value, a subgroup per group.
    void writeStorage(const std::string& path, const exp::DataStorage<std::string>& storage);
    /// Reads the group at path back as a storage; plain subgroups read as groups.
    exp::DataStorage<std::string> readStorage(const std::string& path) const;

    /// Writes frame as a group at path: its matrix as the dataset "image" (an HDF5 image
    /// for 8-bit matrices of 1 or 3 channels; colour in RGB order), its metadata as the
    /// storage "metadata".
    void writeFrame(const std::string& path, const exp::Frame& frame);
    /// Reads a group written by writeFrame back.
    exp::Frame readFrame(const std::string& path) const;

private:
    friend class FrameRecorder;
    friend class RecordingReader;
    RecordingFile(std::int64_t id, std::string fileName, bool readOnly);
    // The open file's HDF5 identifier; throws if the file is closed.
    std::int64_t id() const;
    // Throws unless the file is open for writing, takes new objects and nothing is at path yet.
    void requireWritable(const std::string& path) const;
    // Whether the file is in single-writer/multiple-reader mode, where it takes no new objects.
    bool isRecording() const;
    // Runs write, removes what it made at path if it throws, and flushes the file.
    void writeWhole(const std::string& path, const std::function<void()>& write);

    std::int64_t m_id;
    std::string m_fileName;
    bool m_readOnly;
};

}  // namespace zarvo::hdf5
