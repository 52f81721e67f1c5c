#pragma once

// The two text templates and who supplies each form of them:
//
//   form                                              declared  defined          library
//   toStringTimpl<T>, fromStringTimpl<T> (general)    here      MemoryAcsii.h    zarvo_datatypes
//   toStringTimpl  <float, double, int8, uint8>       here      ValueText.cpp    valuetext
//   fromStringTimpl<int8, uint8, string, cv::Point>   here      ValueText.cpp    valuetext
//   readByStreamRule<T>                               here      here             (header only)
//
// The general definition (core/memory/MemoryAcsii.h) handles every other type and
// direction through its Text<T> families, and never sees the eight forms below.

#include <sstream>
#include <string>

#include <opencv2/core.hpp>

#include "valuefault/Export.h"

namespace zarvo::exp::intern {

/// The text form of one value. General definition: core/memory/MemoryAcsii.h.
template <class T>
std::string toStringTimpl(const T& value);

/// One value read from the text of that value alone (no separator). General
/// definition: core/memory/MemoryAcsii.h.
template <class T>
T fromStringTimpl(const std::string& text);

// The eight forms of the valuetext library, defined in valuetext/ValueText.cpp.

/// Shortest text that reads back to the same float.
template <>
ZARVO_EXPORT std::string toStringTimpl<float>(const float& value);
/// Shortest text that reads back to the same double.
template <>
ZARVO_EXPORT std::string toStringTimpl<double>(const double& value);
/// The number, in decimal (a small integer, not a character).
template <>
ZARVO_EXPORT std::string toStringTimpl<signed char>(const signed char& value);
/// The number, in decimal (a small integer, not a character).
template <>
ZARVO_EXPORT std::string toStringTimpl<unsigned char>(const unsigned char& value);

/// A number by the stream rule, kept to its low 8 bits.
template <>
ZARVO_EXPORT signed char fromStringTimpl<signed char>(const std::string& text);
/// A number by the stream rule, kept to its low 8 bits.
template <>
ZARVO_EXPORT unsigned char fromStringTimpl<unsigned char>(const std::string& text);
/// The text itself.
template <>
ZARVO_EXPORT std::string fromStringTimpl<std::string>(const std::string& text);
/// "x:y", each an int by the stream rule; a missing ":" leaves y at 0.
template <>
ZARVO_EXPORT cv::Point fromStringTimpl<cv::Point>(const std::string& text);

/// The stream rule for one scalar: a default stream over the whole text, switched
/// to hexadecimal when an "x" or "X" stands anywhere in it, one extraction, no
/// error. A text with no number (empty or blank included) gives 0.
template <class T>
T readByStreamRule(const std::string& text) {
    std::stringstream stream;
    stream << text;
    if (text.find_first_of("xX") != std::string::npos) stream >> std::hex;
    T value{};
    stream >> value;
    return value;
}

}  // namespace zarvo::exp::intern
