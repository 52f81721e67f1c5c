#include "valuetext/ValueText.h"

#include <charconv>

namespace zarvo::exp::intern {

namespace {

template <class T>
std::string shortestText(T value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

}  // namespace

template <>
std::string toStringTimpl<float>(const float& value) {
    return shortestText(value);
}

template <>
std::string toStringTimpl<double>(const double& value) {
    return shortestText(value);
}

template <>
std::string toStringTimpl<signed char>(const signed char& value) {
    return std::to_string(static_cast<int>(value));
}

template <>
std::string toStringTimpl<unsigned char>(const unsigned char& value) {
    return std::to_string(static_cast<int>(value));
}

template <>
signed char fromStringTimpl<signed char>(const std::string& text) {
    return static_cast<signed char>(readByStreamRule<int>(text));
}

template <>
unsigned char fromStringTimpl<unsigned char>(const std::string& text) {
    return static_cast<unsigned char>(readByStreamRule<int>(text));
}

template <>
std::string fromStringTimpl<std::string>(const std::string& text) {
    return text;
}

template <>
cv::Point fromStringTimpl<cv::Point>(const std::string& text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) return cv::Point(readByStreamRule<int>(text), 0);
    return cv::Point(readByStreamRule<int>(text.substr(0, colon)), readByStreamRule<int>(text.substr(colon + 1)));
}

}  // namespace zarvo::exp::intern
