#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

/// The built-in types of the registry as (C++ type, registered name) pairs, in their
/// fixed order of registration: X(Type, "name") for each type that holds a value, and
/// NoValue(void, "void") for the one that holds none. This is the one list: the
/// registrations, the Variant_ instances the library compiles, visitValue and every
/// companion's conversions all expand it, so a type added here reaches all of them.
// One entry a line, so that the list reads as a table.
// clang-format off
#define ZARVO_BUILTIN_TYPES(X, NoValue)                                                                    \
    X(bool, "bool")                                                                                        \
    X(char, "char")                                                                                        \
    X(signed char, "int8")                                                                                 \
    X(unsigned char, "uint8")                                                                              \
    X(short, "int16")                                                                                      \
    X(unsigned short, "uint16")                                                                            \
    X(int, "int32")                                                                                        \
    X(unsigned int, "uint32")                                                                              \
    NoValue(void, "void")                                                                                  \
    X(std::vector<bool>, "vecbool")                                                                        \
    X(std::vector<char>, "vecchar")                                                                        \
    X(std::vector<signed char>, "vecint8")                                                                 \
    X(std::vector<unsigned char>, "vecuint8")                                                              \
    X(std::vector<short>, "vecint16")                                                                      \
    X(std::vector<unsigned short>, "vecuint16")                                                            \
    X(std::vector<int>, "vecint32")                                                                        \
    X(std::vector<unsigned int>, "vecuint32")                                                              \
    X(std::list<bool>, "listbool")                                                                         \
    X(std::list<char>, "listchar")                                                                         \
    X(std::list<signed char>, "listint8")                                                                  \
    X(std::list<unsigned char>, "listuint8")                                                               \
    X(std::list<short>, "listint16")                                                                       \
    X(std::list<unsigned short>, "listuint16")                                                             \
    X(std::list<int>, "listint32")                                                                         \
    X(std::list<unsigned int>, "listuint32")                                                               \
    X(std::int64_t, "int64")                                                                               \
    X(std::uint64_t, "uint64")                                                                             \
    X(std::vector<std::int64_t>, "vecint64")                                                               \
    X(std::vector<std::uint64_t>, "vecuint64")                                                             \
    X(std::list<std::int64_t>, "listint64")                                                                \
    X(std::list<std::uint64_t>, "listuint64")                                                              \
    X(float, "float")                                                                                      \
    X(std::vector<float>, "vecfloat")                                                                      \
    X(std::list<float>, "listfloat")                                                                       \
    X(double, "double")                                                                                    \
    X(std::vector<double>, "vecdouble")                                                                    \
    X(std::list<double>, "listdouble")                                                                     \
    X(std::string, "string")                                                                               \
    X(std::vector<std::string>, "vecstring")                                                               \
    X(std::list<std::string>, "liststring")                                                                \
    X(cv::Mat, "cvmat")                                                                                    \
    X(cv::Size_<int>, "cvsize")                                                                            \
    X(cv::Point_<int>, "cvpoint")                                                                          \
    X(cv::Rect_<int>, "cvrect")                                                                            \
    X(std::vector<cv::Mat>, "veccvmat")                                                                    \
    X(std::list<cv::Mat>, "listcvmat")
// clang-format on

/// An expansion that leaves its entry out, e.g. void where only value types are wanted.
#define ZARVO_BUILTIN_SKIP(Type, name)
