#include "hdf5/RecordingFile.h"

#include <hdf5.h>

#include <chrono>
#include <ctime>
#include <fstream>
#include <type_traits>
#include <utility>

#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/Pixels.h"
#include "hdf5/internal/Texts.h"
#include "hdf5/internal/ValueCodec.h"
#include "zarvo/version.h"

namespace zarvo::hdf5 {

using exp::Frame;
using exp::Variant;
using exp::Variant_;
using internal::Handle;
using Storage = exp::DataStorage<std::string>;
namespace h5 = internal::h5;

static_assert(std::is_same_v<hid_t, std::int64_t>, "the header keeps HDF5 identifiers as int64");

namespace {

// Files are made in the newest format: single-writer/multiple-reader recording needs it.
Handle newestFormat() {
    Handle access = h5::pcreate(H5P_FILE_ACCESS);
    h5::psetLibverBounds(access.get());
    return access;
}

// File access that opens a file still marked as open by a writer that was killed: HDF5
// refuses such a file otherwise (h5clear -s clears the mark by this very property). A
// writer that is alive still holds its lock on the file, so a second writer is refused all the same.
Handle ignoringWriterMark(Handle access) {
    hbool_t clear = true;
    h5::pset(access.get(), "clear_status_flags", &clear);
    return access;
}

// Space allocated in pages of the kernel's page size: no piece of metadata smaller than a
// page crosses a page boundary. SIGKILL can cut a write between two pages, so a writer
// killed while flushing would otherwise leave a torn object header behind.
Handle pagedMetadata() {
    Handle creation = h5::pcreate(H5P_FILE_CREATE);
    h5::psetFileSpaceStrategy(creation.get(), H5F_FSPACE_STRATEGY_PAGE);
    h5::psetFileSpacePageSize(creation.get(), 4096);
    return creation;
}

// A reader of a file being recorded retries a piece of metadata whose checksum fails, as
// the writer may be writing it; HDF5 doubles its wait each time, over 100 attempts, which
// never ends for metadata a killed writer left torn (SIGKILL can cut a write between two
// pages). 12 attempts wait about 4 us in all and then fail with HDF5's reason.
Handle fewReadAttempts() {
    Handle access = h5::pcreate(H5P_FILE_ACCESS);
    h5::psetMetadataReadAttempts(access.get(), 12);
    return access;
}

void requireHdf5File(const std::string& fileName) {
    internal::prepareHdf5();
    if (!std::ifstream(fileName)) ZARVO_THROW("cannot open '" << fileName << "': no such file");
    if (!h5::fisHdf5(fileName)) ZARVO_THROW("cannot open '" << fileName << "': not an HDF5 file");
}

void writeStorageInto(hid_t file, const std::string& path, const Storage& storage) {
    internal::createGroup(file, path, internal::kStorageType);
    for (const auto& [key, value] : storage) {
        if (key.empty() || key == "." || key.find('/') != std::string::npos)
            ZARVO_THROW("'" << path << "': key '" << key << "' can not be an HDF5 member name");
        const std::string member = internal::childPath(path, key);
        if (const Storage* group = Storage::groupOf(*value)) writeStorageInto(file, member, *group);
        else internal::writeValue(file, member, *value);
    }
}

Storage readStorageFrom(hid_t file, const std::string& path, int depth) {
    if (depth > 64) ZARVO_THROW("'" << path << "': groups nested deeper than 64 levels");
    Handle group = internal::openObject(file, path, H5I_GROUP);
    const std::string typeName = internal::typeAttributeOf(group.get());
    if (!typeName.empty() && typeName != internal::kStorageType)
        ZARVO_THROW("'" << path << "': holds a '" << typeName << "', not a storage");
    Storage storage;
    for (const std::string& name : internal::memberNames(group.get())) {
        const std::string member = internal::childPath(path, name);
        Handle object = h5::oopen(file, member);
        if (h5::igetType(object.get()) == H5I_GROUP)
            storage.insert(name, std::make_shared<Variant_<Storage>>(readStorageFrom(file, member, depth + 1)));
        else storage.insert(name, internal::readValue(object.get()));
    }
    return storage;
}

void listInto(hid_t file, const std::string& path, std::vector<RecordingFile::Entry>& entries) {
    Handle group = internal::openObject(file, path, H5I_GROUP);
    for (const std::string& name : internal::memberNames(group.get())) {
        const std::string member = internal::childPath(path, name);
        Handle object = h5::oopen(file, member);
        RecordingFile::Entry entry{member, internal::typeAttributeOf(object.get()), "", {}, false};
        const bool isGroup = h5::igetType(object.get()) == H5I_GROUP;
        if (!isGroup) {
            const std::vector<hsize_t> dims = internal::shapeOf(object.get());
            entry.dims.assign(dims.begin(), dims.end());
            entry.perFrame = internal::hasAttribute(object.get(), internal::kPerFrameAttribute);
            entry.shape = internal::shapeText(dims);
        }
        entries.push_back(entry);
        if (isGroup) listInto(file, member, entries);
    }
}

// Marks an 8-bit image of 1 or 3 channels as the HDF5 image conventions say, so that
// viewers such as HDFView show it as a picture; a colour image of any depth says that
// it is stored in RGB order.
void markAsImage(hid_t file, const std::string& path, const cv::Mat& image) {
    Handle dataset = internal::openObject(file, path, H5I_DATASET);
    if (internal::storedAsRgb(image.channels()))
        internal::writeTextAttribute(dataset.get(), internal::kChannelOrderAttribute, internal::kRgb);
    if (image.depth() != CV_8U || image.dims != 2 || (image.channels() != 1 && image.channels() != 3)) return;
    internal::writeFixedTextAttribute(dataset.get(), "CLASS", "IMAGE");
    internal::writeFixedTextAttribute(dataset.get(), "IMAGE_VERSION", "1.2");
    if (image.channels() == 1) {
        internal::writeFixedTextAttribute(dataset.get(), "IMAGE_SUBCLASS", "IMAGE_GRAYSCALE");
        // Required beside IMAGE_GRAYSCALE: 0 is black, as a camera delivers it.
        const unsigned char whiteIsZero = 0;
        Handle space = h5::screate(H5S_SCALAR);
        Handle attribute = h5::acreate(dataset.get(), "IMAGE_WHITE_IS_ZERO", H5T_STD_U8LE, space.get());
        h5::awrite(attribute.get(), H5T_NATIVE_UCHAR, &whiteIsZero);
    } else {
        internal::writeFixedTextAttribute(dataset.get(), "IMAGE_SUBCLASS", "IMAGE_TRUECOLOR");
        internal::writeFixedTextAttribute(dataset.get(), "INTERLACE_MODE", "INTERLACE_PIXEL");
    }
}

// Now in ISO 8601, UTC, to the second: "2026-11-25T02:53:30Z".
std::string utcNow() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

}  // namespace

RecordingFile::RecordingFile(std::int64_t id, std::string fileName, bool readOnly)
    : m_id(id), m_fileName(std::move(fileName)), m_readOnly(readOnly) {}

RecordingFile RecordingFile::create(const std::string& fileName) {
    internal::prepareHdf5();
    exp::registerStorageType();
    Handle access = newestFormat();
    Handle creation = pagedMetadata();
    Handle file = h5::fcreate(fileName, creation.get(), access.get());
    // The root as NeXus readers expect it, and who wrote the file when.
    Handle root = internal::openObject(file.get(), "/", H5I_GROUP);
    internal::writeTextAttribute(root.get(), "NX_class", "NXroot");
    internal::writeTextAttribute(root.get(), "creator", "zarvo-datatypes");
    internal::writeTextAttribute(root.get(), "creator_version", ZARVO_DATATYPES_VERSION_STRING);
    internal::writeTextAttribute(root.get(), "file_time", utcNow());
    root.reset();
    RecordingFile made(file.release(), fileName, false);
    made.flush();
    return made;
}

RecordingFile RecordingFile::openToAppend(const std::string& fileName) {
    requireHdf5File(fileName);
    exp::registerStorageType();
    Handle file = h5::fopenOrNone(fileName, H5F_ACC_RDWR, newestFormat().get());
    // A file left by a killed writer: every flushed object is whole, only the mark is left.
    if (!file.valid()) file = h5::fopenOrNone(fileName, H5F_ACC_RDWR, ignoringWriterMark(newestFormat()).get());
    if (!file.valid())
        ZARVO_THROW("cannot open '" << fileName << "' for writing: it is open elsewhere or read only"
                                    << internal::hdf5Cause());
    return RecordingFile(file.release(), fileName, false);
}

RecordingFile RecordingFile::openReadOnly(const std::string& fileName) {
    requireHdf5File(fileName);
    exp::registerStorageType();
    Handle file = h5::fopenOrNone(fileName, H5F_ACC_RDONLY, H5P_DEFAULT);
    // A file being recorded, or whose recorder was killed, carries its writer's mark; a
    // reader of single-writer/multiple-reader files may open it all the same, and a file
    // killed before it recorded opens by ignoring the mark.
    if (!file.valid()) file = h5::fopenOrNone(fileName, H5F_ACC_RDONLY | H5F_ACC_SWMR_READ, fewReadAttempts().get());
    if (!file.valid())
        file = h5::fopenOrNone(fileName, H5F_ACC_RDONLY, ignoringWriterMark(h5::pcreate(H5P_FILE_ACCESS)).get());
    if (!file.valid()) ZARVO_THROW("cannot open '" << fileName << "' for reading" << internal::hdf5Cause());
    return RecordingFile(file.release(), fileName, true);
}

RecordingFile::RecordingFile(RecordingFile&& other) noexcept
    : m_id(std::exchange(other.m_id, H5I_INVALID_HID)),
      m_fileName(std::move(other.m_fileName)),
      m_readOnly(other.m_readOnly) {}

RecordingFile& RecordingFile::operator=(RecordingFile&& other) noexcept {
    if (this != &other) {
        // Closed as a Handle closes: errors have no one to tell here.
        Handle closing(std::exchange(m_id, std::exchange(other.m_id, H5I_INVALID_HID)));
        m_fileName = std::move(other.m_fileName);
        m_readOnly = other.m_readOnly;
    }
    return *this;
}

RecordingFile::~RecordingFile() {
    // Closed as a Handle closes: a destructor has no one to tell of an error.
    Handle closing(m_id);
}

void RecordingFile::close() {
    if (!isOpen()) return;
    const hid_t file = std::exchange(m_id, H5I_INVALID_HID);
    h5::fclose(file);
}

std::int64_t RecordingFile::id() const {
    if (!isOpen()) ZARVO_THROW("'" << m_fileName << "': the file is closed");
    return m_id;
}

void RecordingFile::flush() {
    if (m_readOnly) return;
    h5::fflush(id());
}

bool RecordingFile::contains(const std::string& path) const {
    const hid_t file = id();
    // Each step of the path must exist before the next one may be asked about.
    for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string prefix = path.substr(0, end);
        if (!prefix.empty() && prefix != "/" && !h5::lexists(file, prefix)) return false;
        if (end == std::string::npos) return true;
    }
}

std::vector<RecordingFile::Entry> RecordingFile::list() const {
    std::vector<Entry> entries;
    listInto(id(), "/", entries);
    return entries;
}

bool RecordingFile::isRecording() const { return (h5::fgetIntent(id()) & H5F_ACC_SWMR_WRITE) != 0; }

void RecordingFile::requireWritable(const std::string& path) const {
    if (m_readOnly) ZARVO_THROW("'" << m_fileName << "' is open read only: cannot write '" << path << "'");
    if (isRecording())
        ZARVO_THROW("'" << m_fileName << "' records frames: it takes no new object such as '" << path
                        << "' (write values and declare every recording before the first frame)");
    if (path.empty() || path == "/") ZARVO_THROW("'" << m_fileName << "': '" << path << "' is no path to write at");
    if (contains(path)) ZARVO_THROW("'" << path << "' exists already in '" << m_fileName << "'");
}

void RecordingFile::writeWhole(const std::string& path, const std::function<void()>& write) {
    try {
        write();
    } catch (...) {
        if (contains(path)) h5::ldelete(id(), path);
        throw;
    }
    // On disk at once: a writer killed later, even before any frame, leaves the object whole.
    flush();
}

void RecordingFile::writeValue(const std::string& path, const std::shared_ptr<Variant>& value) {
    requireWritable(path);
    if (!value) ZARVO_THROW("'" << path << "': no value to write");
    writeWhole(path, [&] { internal::writeValue(id(), path, *value); });
}

std::shared_ptr<Variant> RecordingFile::readValue(const std::string& path) const {
    Handle dataset = internal::openObject(id(), path, H5I_DATASET);
    if (internal::hasAttribute(dataset.get(), internal::kPerFrameAttribute))
        ZARVO_THROW("'" << path << "': holds one element per frame of a recording (shape "
                        << internal::shapeText(internal::shapeOf(dataset.get()))
                        << "), not one value: read them with RecordingFile::readElement");
    return internal::readValue(dataset.get());
}

std::shared_ptr<Variant> RecordingFile::readElement(const std::string& path, size_t index) const {
    Handle dataset = internal::openObject(id(), path, H5I_DATASET);
    if (!internal::hasAttribute(dataset.get(), internal::kPerFrameAttribute))
        ZARVO_THROW("'" << path << "': holds one value, not one per frame: read it with readValue");
    const hsize_t frames = internal::shapeOf(dataset.get()).at(0);
    if (index >= frames) ZARVO_THROW("'" << path << "': has " << frames << " frames, no frame " << index);
    if (internal::typeAttributeOf(dataset.get()) == internal::kStackType)
        return std::make_shared<Variant_<cv::Mat>>(internal::readStackFrame(dataset.get(), index));
    return internal::readColumnElement(dataset.get(), index);
}

void RecordingFile::writeStorage(const std::string& path, const Storage& storage) {
    requireWritable(path);
    writeWhole(path, [&] { writeStorageInto(id(), path, storage); });
}

Storage RecordingFile::readStorage(const std::string& path) const { return readStorageFrom(id(), path, 0); }

void RecordingFile::writeFrame(const std::string& path, const Frame& frame) {
    requireWritable(path);
    writeWhole(path, [&] {
        internal::createGroup(id(), path, internal::kFrameType);
        const std::string image = internal::childPath(path, internal::kImage);
        internal::writeValue(id(), image, Variant_<cv::Mat>(internal::swapRedBlue(frame.getFrameData())));
        markAsImage(id(), image, frame.getFrameData());
        writeStorageInto(id(), internal::childPath(path, internal::kMetadata), frame.getMetaData());
    });
}

Frame RecordingFile::readFrame(const std::string& path) const {
    Handle group = internal::openObject(id(), path, H5I_GROUP);
    const std::string typeName = internal::typeAttributeOf(group.get());
    if (typeName != internal::kFrameType) ZARVO_THROW("'" << path << "': holds a '" << typeName << "', not a frame");
    const std::string imagePath = internal::childPath(path, internal::kImage);
    Handle dataset = internal::openObject(id(), imagePath, H5I_DATASET);
    const std::shared_ptr<Variant> value = internal::readValue(dataset.get());
    const cv::Mat* image = value->getIf<cv::Mat>();
    if (image == nullptr) ZARVO_THROW("'" << imagePath << "': is no matrix");
    const bool rgb = internal::hasAttribute(dataset.get(), internal::kChannelOrderAttribute);
    return Frame(rgb ? internal::swapRedBlue(*image) : *image,
                 readStorage(internal::childPath(path, internal::kMetadata)));
}

}  // namespace zarvo::hdf5
