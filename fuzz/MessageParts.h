#pragma once

// The layout of a message harness input, shared by the harness and the seed generator:
// after the choice byte, each part as a 16-bit little-endian length and its bytes; a
// length that runs past the end gives the last part whatever is left.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "transport/WireFormat.h"

namespace zarvofuzz {

/// At most this many parts are cut from an input.
constexpr size_t kMostMessageParts = 8;

/// The parts of one input, each in a heap buffer of its own (so reading past one is caught).
inline std::vector<std::shared_ptr<std::vector<char>>> splitParts(const char* data, size_t size) {
    std::vector<std::shared_ptr<std::vector<char>>> parts;
    while (size >= 2 && parts.size() < kMostMessageParts) {
        size_t length = static_cast<unsigned char>(data[0]) | static_cast<size_t>(static_cast<unsigned char>(data[1]))
                                                                  << 8;
        data += 2;
        size -= 2;
        if (length > size) length = size;
        parts.push_back(std::make_shared<std::vector<char>>(data, data + length));
        data += length;
        size -= length;
    }
    return parts;
}

/// The input bytes (without the choice byte) for parts.
inline std::string joinParts(const std::vector<zarvo::transport::WireFormat::Part>& parts) {
    std::string bytes;
    for (const auto& part : parts) {
        bytes += static_cast<char>(part.size & 0xFF);
        bytes += static_cast<char>((part.size >> 8) & 0xFF);
        bytes.append(part.data, part.size);
    }
    return bytes;
}

}  // namespace zarvofuzz
