#pragma once

// Helpers shared by the tests: values in holders, byte forms, and what an action throws.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "core/datatypes/TypeObject.h"
#include "valuefault/Exception.h"

namespace testsupport {

/// value in a new holder of its own type.
template <class T>
std::shared_ptr<zarvo::exp::Variant> hold(T value) {
    return std::make_shared<zarvo::exp::Variant_<T>>(std::move(value));
}

/// The byte form through Variant::serialize, as a string.
inline std::string bytesOf(const zarvo::exp::Variant& value, zarvo::exp::Endian endian) {
    size_t size = 0;
    const auto buffer = value.serialize(endian, size);
    return std::string(buffer.get(), size);
}

/// The 32 bits of a float or a MarkedFloat.
template <class T>
std::uint32_t wordOf(T value) {
    std::uint32_t word;
    std::memcpy(&word, static_cast<const void*>(&value), 4);
    return word;
}

/// Bytes from hex pairs separated by blanks: "0a ff" gives "\x0a\xff".
inline std::string hex(const std::string& pairs) {
    std::istringstream in(pairs);
    std::string bytes, pair;
    while (in >> pair) bytes += static_cast<char>(std::strtoul(pair.c_str(), nullptr, 16));
    return bytes;
}

/// The byte form of a record; checks that serialize writes exactly sizeofType() bytes and nothing behind them.
template <class R>
std::string recordBytes(const R& record, zarvo::exp::Endian endian) {
    std::string bytes(record.sizeofType() + 8, '\x5A');
    EXPECT_EQ(record.serialize(endian, bytes.data()), record.sizeofType());
    EXPECT_EQ(bytes.substr(record.sizeofType()), std::string(8, '\x5A'));
    return bytes.substr(0, record.sizeofType());
}

/// The record read from bytes by both forms. Checks that both overwrite size with all the bytes and the result's
/// sizeofType().
template <class R>
R readBack(const std::string& bytes, zarvo::exp::Endian endian) {
    size_t size = 99, boundedSize = 99;
    const R value = R::deserialize(endian, bytes.data(), size);
    R::deserialize(endian, bytes.data(), bytes.size(), boundedSize);
    EXPECT_TRUE(size == bytes.size() && boundedSize == size && size == value.sizeofType()) << size;
    return value;
}

/// What action throws, or an exception saying "(no exception)" with an empty where text.
template <class F>
zarvo::Exception errorOf(F&& action) {
    try {
        action();
    } catch (const zarvo::Exception& error) { return error; }
    return zarvo::Exception("(no exception)", "");
}

/// The message of what action throws.
template <class F>
std::string messageOf(F&& action) {
    return errorOf(std::forward<F>(action)).message();
}

/// The function named in a where text: "path: line: name(..)\n" gives "name".
inline std::string functionOf(const zarvo::Exception& error) {
    const std::string& where = error.where();
    const size_t start = where.rfind(": ") + 2;
    return where.substr(start, where.rfind("(..)") - start);
}

/// "message|function" of what action throws, or "" if it throws nothing.
template <class F>
std::string failureOf(F&& action) {
    const zarvo::Exception error = errorOf(std::forward<F>(action));
    return error.where().empty() ? "" : error.message() + "|" + functionOf(error);
}

}  // namespace testsupport
