#pragma once

// Small helpers shared by the tests.

#include <memory>
#include <string>
#include <utility>

#include "core/datatypes/Variant.h"
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

/// What action throws, or an exception saying "(no exception)".
template <class F>
zarvo::Exception errorOf(F&& action) {
    try {
        action();
    } catch (const zarvo::Exception& error) {
        return error;
    }
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

}  // namespace testsupport
