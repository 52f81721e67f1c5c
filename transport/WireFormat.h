#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "transport/Message.h"
#include "valuefault/Export.h"

namespace zarvo::transport {

/// The multipart layout of a message on the wire (the guide's table gives every byte).
/// Encoding and decoding are plain functions over byte parts, so that the sockets here,
/// the Python module and anyone with their own ZeroMQ socket share one codec.
class ZARVO_EXPORT WireFormat {
public:
    static constexpr std::uint32_t magic = 0x4F56525Au;  ///< "ZRVO" as the first four header bytes.
    static constexpr std::uint16_t version = 1;          ///< Format version this code writes and reads.
    static constexpr std::size_t headerSize = 32;        ///< Bytes of the header part.

    /// One part of a message: its bytes, and whatever keeps them alive (null: they only
    /// need to live through the call). An encoded pixel part's owner holds the frame's
    /// matrix, so its pixels are sent without a copy.
    struct Part {
        const char* data = nullptr;         ///< The first byte.
        std::size_t size = 0;               ///< The number of bytes.
        std::shared_ptr<const void> owner;  ///< Keeps the bytes alive; null if the caller does.
    };

    /// The parts of a value message: topic, header, registered name, byte form.
    static std::vector<Part> encode(const Envelope& envelope, const exp::Variant& value);
    /// The parts of a storage message: topic, header, byte form.
    static std::vector<Part> encode(const Envelope& envelope, const exp::DataStorage<std::string>& storage);
    /// The parts of a frame message: topic, header, metadata, matrix header, pixels (shared, not copied).
    static std::vector<Part> encode(const Envelope& envelope, const exp::Frame& frame);
    /// The parts of an end-of-stream message: topic and header.
    static std::vector<Part> encodeEnd(const Envelope& envelope);

    /// Reads a message, bounded by each part's size; a frame's pixels stay in the pixel
    /// part's buffer, kept alive by its owner as long as any matrix shares them. Throws a
    /// zarvo::Exception saying what is wrong: part count, magic, version (both numbers),
    /// kind, a truncated or overlong part, a hostile count or size, or a pixel part whose
    /// size disagrees with its header.
    static Message decode(const std::vector<Part>& parts);
};

}  // namespace zarvo::transport
