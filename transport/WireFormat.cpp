#include "transport/WireFormat.h"

#include <cstring>
#include <initializer_list>
#include <iomanip>
#include <optional>
#include <sstream>
#include <utility>

#include "core/datatypes/TypeObject.h"
#include "core/memory/MemoryBinary.h"
#include "transport/internal/OwnerAllocator.h"

namespace zarvo::transport {

using exp::little_endian;
using exp::Memory::Cursor;
using MatBinary = exp::Memory::Binary<cv::Mat>;
using Part = WireFormat::Part;
using Storage = exp::DataStorage<std::string>;

namespace {

// Nested groups of a storage have a byte form once the storage holder has a name.
void registerStorage() {
    static const exp::TypeObject* const entry = exp::registerStorageType();
    (void)entry;
}

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::Value: return "A value";
        case Kind::Storage: return "A storage";
        case Kind::Frame: return "A frame";
        case Kind::End: return "An end-of-stream";
    }
    return "A";
}

size_t partCount(Kind kind) {
    switch (kind) {
        case Kind::Value: return 4;
        case Kind::Storage: return 3;
        case Kind::Frame: return 5;
        case Kind::End: return 2;
    }
    return 0;
}

// The topic, header and payload parts of one message in one shared block: each
// payload piece is written in place by its own writer, then the parts point into it.
class Block {
public:
    Block(const Envelope& envelope, Kind kind, std::initializer_list<size_t> payload)
        : m_bytes(std::make_shared<std::string>()) {
        size_t total = envelope.topic.size() + WireFormat::headerSize;
        for (const size_t size : payload) total += size;
        m_bytes->resize(total);
        m_parts.reserve(payload.size() + 3);  // a frame's pixel part comes behind
        char* out = m_bytes->data();
        std::memcpy(out, envelope.topic.data(), envelope.topic.size());
        add(envelope.topic.size());
        char* header = out + envelope.topic.size();
        exp::Memory::writeField(little_endian, header, WireFormat::magic);
        exp::Memory::writeField(little_endian, header + 4, WireFormat::version);
        header[6] = static_cast<char>(kind);
        header[7] = 0;
        exp::Memory::writeField(little_endian, header + 8, envelope.sequence);
        exp::Memory::writeField(little_endian, header + 16, envelope.sendTime);
        exp::Memory::writeField(little_endian, header + 24, envelope.sender);
        add(WireFormat::headerSize);
        for (const size_t size : payload) add(size);
    }

    /// Where payload piece i is written.
    char* payload(size_t i) { return const_cast<char*>(m_parts[2 + i].data); }
    /// The parts, each holding the block.
    std::vector<Part> parts() && { return std::move(m_parts); }

private:
    void add(size_t size) {
        m_parts.push_back({m_bytes->data() + m_used, size, m_bytes});
        m_used += size;
    }

    std::shared_ptr<std::string> m_bytes;
    std::vector<Part> m_parts;
    size_t m_used = 0;
};

// Reads one payload part whole through read(cursor): a refusal names the part, and so
// do bytes left behind the form.
template <class Read>
void readPart(const Part& part, const char* name, Read&& read) {
    Cursor in(little_endian, part.data, part.size);
    try {
        read(in);
    } catch (const Exception& error) { ZARVO_THROW(name << " part: " << error.message()); }
    if (in.remaining() != 0)
        ZARVO_THROW(name << " part holds " << in.remaining() << " bytes behind its byte form of " << in.consumed());
}

std::string hexBytes(const char* bytes, size_t count) {
    std::ostringstream text;
    for (size_t i = 0; i < count; ++i)
        text << (i == 0 ? "" : " ") << std::hex << std::setw(2) << std::setfill('0')
             << static_cast<unsigned>(static_cast<unsigned char>(bytes[i]));
    return text.str();
}

// The envelope from the header part, checked field by field.
Envelope readHeader(const std::vector<Part>& parts) {
    const Part& header = parts[1];
    if (header.size != WireFormat::headerSize)
        ZARVO_THROW("Message header part holds " << header.size << " bytes, not " << WireFormat::headerSize);
    Cursor in(little_endian, header.data, header.size);
    if (in.field<std::uint32_t>() != WireFormat::magic) {
        char magic[sizeof WireFormat::magic];
        exp::Memory::writeField(little_endian, magic, WireFormat::magic);
        ZARVO_THROW("Message header starts with " << hexBytes(header.data, 4) << ", not the magic "
                                                  << hexBytes(magic, 4) << " (\"" << std::string(magic, 4) << "\")");
    }
    const auto version = in.field<std::uint16_t>();
    if (version != WireFormat::version)
        ZARVO_THROW("Message format version " << version << " is not supported by this reader (version "
                                              << WireFormat::version << ")");
    const auto kind = in.field<std::uint8_t>();
    if (kind < 1 || kind > 4)
        ZARVO_THROW("Message kind " << unsigned{kind} << " is unknown: 1 value, 2 storage, 3 frame or 4 end of stream");
    in.take(1);  // reserved
    Envelope envelope;
    envelope.topic.assign(parts[0].data, parts[0].size);
    envelope.kind = static_cast<Kind>(kind);
    envelope.sequence = in.field<std::uint64_t>();
    envelope.sendTime = in.field<std::int64_t>();
    envelope.sender = in.field<std::uint64_t>();
    if (parts.size() != partCount(envelope.kind))
        ZARVO_THROW(kindName(envelope.kind)
                    << " message has " << parts.size() << " parts, not " << partCount(envelope.kind));
    return envelope;
}

std::shared_ptr<exp::Variant> readValue(const Part& namePart, const Part& valuePart) {
    const std::string name(namePart.data, namePart.size);
    if (exp::TypeObject::findP(name) == nullptr)
        ZARVO_THROW("Value message names the type '" << Exception::printable(name) << "', which is not registered");
    std::shared_ptr<exp::Variant> value;
    readPart(valuePart, "Value", [&](Cursor& in) { value = exp::Variant::deserialize(name, in); });
    if (!value) ZARVO_THROW("Value message names the type '" << name << "', which holds no value");
    return value;
}

Storage readStorage(const Part& part, const char* name) {
    std::optional<Storage> storage;
    readPart(part, name, [&](Cursor& in) { storage.emplace(exp::Memory::readValue<Storage>(in)); });
    return std::move(*storage);
}

cv::Mat readPixels(const MatBinary::Header& header, const Part& pixels) {
    void* data = const_cast<char*>(pixels.data);
    // Pixels that only live through the call, or lie where their numbers cannot be read
    // in place, are copied; all others stay in the part's buffer.
    const size_t channelBytes = header.dims == 0 ? 1 : CV_ELEM_SIZE1(header.type);
    if (pixels.owner && reinterpret_cast<std::uintptr_t>(data) % channelBytes == 0)
        return internal::OwnerAllocator::wrap(header, data, pixels.size, pixels.owner);
    return header.wrap(data, pixels.size).clone();
}

}  // namespace

std::vector<Part> WireFormat::encode(const Envelope& envelope, const exp::Variant& value) {
    const std::string name = value.getTypeString();
    Block block(envelope, Kind::Value, {name.size(), value.sizeofT_imp()});
    std::memcpy(block.payload(0), name.data(), name.size());
    value.serialize_imp(little_endian, block.payload(1));
    return std::move(block).parts();
}

std::vector<Part> WireFormat::encode(const Envelope& envelope, const Storage& storage) {
    registerStorage();
    Block block(envelope, Kind::Storage, {storage.sizeofType()});
    storage.serialize(little_endian, block.payload(0));
    return std::move(block).parts();
}

std::vector<Part> WireFormat::encode(const Envelope& envelope, const exp::Frame& frame) {
    registerStorage();
    // The pixels go out where they lie; only a matrix with gaps between its rows (a
    // region of a larger one) is first copied into one block.
    const cv::Mat& data = frame.getFrameData();
    auto pixels = std::make_shared<const cv::Mat>(data.isContinuous() ? data : data.clone());
    const Storage& metaData = frame.getMetaData();
    Block block(envelope, Kind::Frame, {metaData.sizeofType(), MatBinary::headerSize(*pixels)});
    metaData.serialize(little_endian, block.payload(0));
    MatBinary::writeHeader(block.payload(1), *pixels);
    std::vector<Part> parts = std::move(block).parts();
    parts.push_back({reinterpret_cast<const char*>(pixels->data), MatBinary::pixelSize(*pixels), pixels});
    return parts;
}

std::vector<Part> WireFormat::encodeEnd(const Envelope& envelope) {
    return std::move(Block(envelope, Kind::End, {})).parts();
}

Message WireFormat::decode(const std::vector<Part>& parts) {
    registerStorage();
    if (parts.size() < 2)
        ZARVO_THROW("Message has too few parts (" << parts.size() << "): a topic and a header at least");
    const Envelope envelope = readHeader(parts);
    switch (envelope.kind) {
        case Kind::Value: return Message{envelope, readValue(parts[2], parts[3]), {}, {}};
        case Kind::Storage: return Message{envelope, nullptr, readStorage(parts[2], "Storage"), {}};
        case Kind::Frame: {
            Storage metaData = readStorage(parts[2], "Frame metadata");
            MatBinary::Header header;
            readPart(parts[3], "Matrix header", [&](Cursor& in) { header = MatBinary::readHeader(in); });
            return Message{envelope, nullptr, {}, exp::Frame(readPixels(header, parts[4]), std::move(metaData))};
        }
        case Kind::End: break;
    }
    return Message{envelope, nullptr, {}, {}};
}

}  // namespace zarvo::transport
