#include "hdf5/RecordingFile.h"

#include <hdf5.h>

#include <fstream>
#include <type_traits>
#include <utility>

#include "hdf5/internal/Handle.h"
#include "hdf5/internal/ValueCodec.h"

namespace zarvo::hdf5 {

using exp::DataStorage;
using exp::Frame;
using exp::Variant;
using exp::Variant_;
using internal::Handle;
using Storage = DataStorage<std::string>;

static_assert(std::is_same_v<hid_t, std::int64_t>, "the header keeps HDF5 identifiers as int64");

namespace {

// Files are made in the newest format: single-writer/multiple-reader recording needs it.
Handle newestFormat() {
    Handle access = ZARVO_H5_OPEN(H5Pcreate(H5P_FILE_ACCESS), "cannot make a file access property list");
    H5Pset_libver_bounds(access.get(), H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    return access;
}

void requireHdf5File(const std::string& fileName) {
    internal::silenceHdf5Errors();
    if (!std::ifstream(fileName)) ZARVO_THROW("cannot open '" << fileName << "': no such file");
    if (H5Fis_hdf5(fileName.c_str()) <= 0) ZARVO_THROW("cannot open '" << fileName << "': not an HDF5 file");
}

void writeStorageInto(hid_t file, const std::string& path, const Storage& storage) {
    internal::createGroup(file, path, "storage");
    for (const auto& [key, value] : storage) {
        if (key.empty() || key == "." || key.find('/') != std::string::npos)
            ZARVO_THROW("'" << path << "': key '" << key << "' can not be an HDF5 member name");
        const std::string member = internal::childPath(path, key);
        if (value->getTypeInfo() == typeid(Storage))
            writeStorageInto(file, member, *static_cast<const Storage*>(value->constAddress_imp()));
        else
            internal::writeValue(file, member, *value, member);
    }
}

Storage readStorageFrom(hid_t file, const std::string& path, int depth) {
    if (depth > 64) ZARVO_THROW("'" << path << "': groups nested deeper than 64 levels");
    Handle group = internal::openObject(file, path, H5I_GROUP);
    const std::string typeName = internal::typeAttributeOf(group.get(), path);
    if (!typeName.empty() && typeName != "storage")
        ZARVO_THROW("'" << path << "': holds a '" << typeName << "', not a storage");
    Storage storage;
    for (const std::string& name : internal::memberNames(group.get(), path)) {
        const std::string member = internal::childPath(path, name);
        Handle object = ZARVO_H5_OPEN(H5Oopen(file, member.c_str(), H5P_DEFAULT), "'" << member << "': cannot open it");
        if (H5Iget_type(object.get()) == H5I_GROUP)
            storage.insert(name, std::make_shared<Variant_<Storage>>(readStorageFrom(file, member, depth + 1)));
        else
            storage.insert(name, internal::readValue(object.get(), member));
    }
    return storage;
}

void listInto(hid_t file, const std::string& path, std::vector<RecordingFile::Entry>& entries) {
    Handle group = internal::openObject(file, path, H5I_GROUP);
    for (const std::string& name : internal::memberNames(group.get(), path)) {
        const std::string member = internal::childPath(path, name);
        Handle object = ZARVO_H5_OPEN(H5Oopen(file, member.c_str(), H5P_DEFAULT), "'" << member << "': cannot open it");
        RecordingFile::Entry entry{member, internal::typeAttributeOf(object.get(), member), ""};
        const bool isGroup = H5Iget_type(object.get()) == H5I_GROUP;
        if (!isGroup) {
            const std::vector<hsize_t> dims = internal::shapeOf(object.get(), member);
            entry.shape = "scalar";
            if (!dims.empty()) {
                entry.shape = "(";
                for (size_t i = 0; i < dims.size(); ++i) entry.shape += (i ? ", " : "") + std::to_string(dims[i]);
                entry.shape += dims.size() == 1 ? ",)" : ")";
            }
        }
        entries.push_back(entry);
        if (isGroup) listInto(file, member, entries);
    }
}

// Marks an 8-bit image of 1 or 3 channels as the HDF5 image conventions say, so that
// viewers such as HDFView show it as a picture.
void markAsImage(hid_t file, const std::string& path, const cv::Mat& image) {
    if (image.depth() != CV_8U || image.dims != 2 || (image.channels() != 1 && image.channels() != 3)) return;
    Handle dataset = internal::openObject(file, path, H5I_DATASET);
    internal::writeFixedTextAttribute(dataset.get(), "CLASS", "IMAGE");
    internal::writeFixedTextAttribute(dataset.get(), "IMAGE_VERSION", "1.2");
    if (image.channels() == 1) {
        internal::writeFixedTextAttribute(dataset.get(), "IMAGE_SUBCLASS", "IMAGE_GRAYSCALE");
    } else {
        internal::writeFixedTextAttribute(dataset.get(), "IMAGE_SUBCLASS", "IMAGE_TRUECOLOR");
        internal::writeFixedTextAttribute(dataset.get(), "INTERLACE_MODE", "INTERLACE_PIXEL");
    }
}

}  // namespace

RecordingFile::RecordingFile(std::int64_t id, std::string fileName, bool readOnly)
    : m_id(id), m_fileName(std::move(fileName)), m_readOnly(readOnly) {}

RecordingFile RecordingFile::create(const std::string& fileName) {
    internal::silenceHdf5Errors();
    Handle access = newestFormat();
    Handle file = ZARVO_H5_OPEN(H5Fcreate(fileName.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access.get()),
                                "cannot create '" << fileName << "'");
    return RecordingFile(file.release(), fileName, false);
}

RecordingFile RecordingFile::openToAppend(const std::string& fileName) {
    requireHdf5File(fileName);
    Handle access = newestFormat();
    Handle file = ZARVO_H5_OPEN(H5Fopen(fileName.c_str(), H5F_ACC_RDWR, access.get()),
                                "cannot open '" << fileName << "' for writing: it is open elsewhere, read only, or was "
                                                   "left by a killed recorder (h5clear -s clears that mark)");
    return RecordingFile(file.release(), fileName, false);
}

RecordingFile RecordingFile::openReadOnly(const std::string& fileName) {
    requireHdf5File(fileName);
    hid_t file = H5Fopen(fileName.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    // A file whose recorder was killed still carries its writer's mark; a reader of
    // single-writer/multiple-reader files may open it all the same.
    if (file < 0) file = H5Fopen(fileName.c_str(), H5F_ACC_RDONLY | H5F_ACC_SWMR_READ, H5P_DEFAULT);
    if (file < 0) ZARVO_THROW("cannot open '" << fileName << "' for reading");
    return RecordingFile(file, fileName, true);
}

RecordingFile::RecordingFile(RecordingFile&& other) noexcept
    : m_id(std::exchange(other.m_id, H5I_INVALID_HID)), m_fileName(std::move(other.m_fileName)),
      m_readOnly(other.m_readOnly) {}

RecordingFile& RecordingFile::operator=(RecordingFile&& other) noexcept {
    if (this != &other) {
        if (isOpen()) H5Fclose(m_id);
        m_id = std::exchange(other.m_id, H5I_INVALID_HID);
        m_fileName = std::move(other.m_fileName);
        m_readOnly = other.m_readOnly;
    }
    return *this;
}

RecordingFile::~RecordingFile() {
    if (isOpen()) H5Fclose(m_id);
}

void RecordingFile::close() {
    if (!isOpen()) return;
    const hid_t file = std::exchange(m_id, H5I_INVALID_HID);
    ZARVO_H5_CHECK(H5Fclose(file), "'" << m_fileName << "': cannot close the file");
}

std::int64_t RecordingFile::id() const {
    if (!isOpen()) ZARVO_THROW("'" << m_fileName << "': the file is closed");
    return m_id;
}

void RecordingFile::flush() {
    if (m_readOnly) return;
    ZARVO_H5_CHECK(H5Fflush(id(), H5F_SCOPE_LOCAL), "'" << m_fileName << "': cannot flush the file");
}

bool RecordingFile::contains(const std::string& path) const {
    const hid_t file = id();
    // Each step of the path must exist before the next one may be asked about.
    for (size_t end = path.find('/', 1); ; end = path.find('/', end + 1)) {
        const std::string prefix = path.substr(0, end);
        if (!prefix.empty() && prefix != "/" && H5Lexists(file, prefix.c_str(), H5P_DEFAULT) <= 0) return false;
        if (end == std::string::npos) return true;
    }
}

std::vector<RecordingFile::Entry> RecordingFile::list() const {
    std::vector<Entry> entries;
    listInto(id(), "/", entries);
    return entries;
}

void RecordingFile::requireWritable(const std::string& path) const {
    if (m_readOnly) ZARVO_THROW("'" << m_fileName << "' is open read only: cannot write '" << path << "'");
    if (path.empty() || path == "/") ZARVO_THROW("'" << m_fileName << "': '" << path << "' is no path to write at");
    if (contains(path)) ZARVO_THROW("'" << path << "' exists already in '" << m_fileName << "'");
}

namespace {

// Runs write; if it throws, whatever it made at path is removed, so the file holds
// either the whole object or nothing of it.
template <class Write>
void whole(hid_t file, const std::string& path, Write&& write) {
    try {
        write();
    } catch (...) {
        H5Ldelete(file, path.c_str(), H5P_DEFAULT);
        throw;
    }
}

}  // namespace

void RecordingFile::writeValue(const std::string& path, const std::shared_ptr<Variant>& value) {
    requireWritable(path);
    if (!value) ZARVO_THROW("'" << path << "': no value to write");
    whole(id(), path, [&] { internal::writeValue(id(), path, *value, path); });
}

std::shared_ptr<Variant> RecordingFile::readValue(const std::string& path) const {
    Handle dataset = internal::openObject(id(), path, H5I_DATASET);
    return internal::readValue(dataset.get(), path);
}

void RecordingFile::writeStorage(const std::string& path, const Storage& storage) {
    requireWritable(path);
    whole(id(), path, [&] { writeStorageInto(id(), path, storage); });
}

Storage RecordingFile::readStorage(const std::string& path) const { return readStorageFrom(id(), path, 0); }

void RecordingFile::writeFrame(const std::string& path, const Frame& frame) {
    requireWritable(path);
    whole(id(), path, [&] {
        internal::createGroup(id(), path, "frame");
        const std::string image = internal::childPath(path, "image");
        internal::writeValue(id(), image, Variant_<cv::Mat>(frame.getFrameData()), image);
        markAsImage(id(), image, frame.getFrameData());
        // The metadata as a storage: a frame hands out its entries only by key.
        Storage metadata;
        for (const std::string& key : frame.getMetaDataKeys()) {
            std::shared_ptr<Variant> value;
            frame.getMetaDate(key, value);
            metadata.insert(key, value);
        }
        writeStorageInto(id(), internal::childPath(path, "metadata"), metadata);
    });
}

Frame RecordingFile::readFrame(const std::string& path) const {
    Handle group = internal::openObject(id(), path, H5I_GROUP);
    const std::string typeName = internal::typeAttributeOf(group.get(), path);
    if (typeName != "frame") ZARVO_THROW("'" << path << "': holds a '" << typeName << "', not a frame");
    const std::shared_ptr<Variant> image = readValue(internal::childPath(path, "image"));
    if (image->getTypeInfo() != typeid(cv::Mat)) ZARVO_THROW("'" << path << "/image': is no matrix");
    return Frame(image->value<cv::Mat>(), readStorage(internal::childPath(path, "metadata")));
}

}  // namespace zarvo::hdf5
