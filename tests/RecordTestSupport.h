#pragma once

// Helpers for the tests of the value records (serialize, both deserialize forms,
// sizeofType).

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "core/memory/MemoryBinary.h"
#include "valuefault/Exception.h"

namespace recordsupport {

/// Bytes from hex pairs separated by blanks: "0a ff" gives "\x0a\xff".
inline std::string hex(const std::string& pairs) {
    std::istringstream in(pairs);
    std::string bytes, pair;
    while (in >> pair) bytes += static_cast<char>(std::strtoul(pair.c_str(), nullptr, 16));
    return bytes;
}

/// The byte form of record; checks that serialize writes exactly sizeofType() bytes.
template <class R>
std::string bytesOf(const R& record, zarvo::exp::Endian endian) {
    std::string bytes(record.sizeofType() + 8, '\x5A');  // room behind it must stay untouched
    EXPECT_EQ(record.serialize(endian, bytes.data()), record.sizeofType());
    EXPECT_EQ(bytes.substr(record.sizeofType()), std::string(8, '\x5A'));
    return bytes.substr(0, record.sizeofType());
}

/// The record read from bytes by both forms. Checks that both overwrite size with
/// all the bytes and the result's sizeofType(), and that the bounded form refuses
/// the same bytes one short.
template <class R>
R readBack(const std::string& bytes, zarvo::exp::Endian endian) {
    size_t size = 99, boundedSize = 99;
    const R value = R::deserialize(endian, bytes.data(), size);
    EXPECT_TRUE(size == bytes.size() && size == value.sizeofType()) << size;
    R::deserialize(endian, bytes.data(), bytes.size(), boundedSize);
    EXPECT_EQ(boundedSize, bytes.size());
    EXPECT_THROW(R::deserialize(endian, bytes.data(), bytes.size() - 1, boundedSize), zarvo::Exception);
    return value;
}

}  // namespace recordsupport
