#pragma once

// The general definition of the two text templates declared in
// valuetext/ValueText.h: the text form of every value but the eight forms the
// valuetext library supplies (that header's table). One value and nothing else,
// no type name, no quoting, no escaping. A container's form is each element's
// form followed by ";".

#include <algorithm>
#include <list>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <opencv2/core.hpp>

#include "valuefault/Exception.h"
#include "valuetext/ValueText.h"

namespace zarvo::exp::intern {

/// The text codec of one type family: writable/readable say whether the family
/// has a text form in that direction, write() and read() give it. The primary
/// template serves any other type: its members toString() and static
/// fromString(text) if it has them, else its stream operators, else nothing.
template <class T, class Enable = void>
struct Text;

/// Whether T has a member toString().
template <class T, class = void>
struct HasToString : std::false_type {};
template <class T>
struct HasToString<T, std::void_t<decltype(std::declval<const T&>().toString())>> : std::true_type {};

/// Whether T has a static member fromString(text).
template <class T, class = void>
struct HasFromString : std::false_type {};
template <class T>
struct HasFromString<T, std::void_t<decltype(T::fromString(std::declval<const std::string&>()))>> : std::true_type {};

/// Whether a T can be written to a std::ostream.
template <class T, class = void>
struct HasStreamOut : std::false_type {};
template <class T>
struct HasStreamOut<T, std::void_t<decltype(std::declval<std::ostream&>() << std::declval<const T&>())>>
    : std::true_type {};

/// What reading a T from a std::istream gives (named apart: Doxygen misreads the
/// ">>" inside the template arguments of a specialisation).
template <class T>
using StreamInResult = decltype(std::declval<std::istream&>() >> std::declval<T&>());

/// Whether a T can be read from a std::istream.
template <class T, class = void>
struct HasStreamIn : std::false_type {};
template <class T>
struct HasStreamIn<T, std::void_t<StreamInResult<T>>> : std::true_type {};

// Each direction stands on its own: a record that prints but does not parse has a
// text form for toString and refuses fromString.
template <class T, class Enable>
struct Text {
    static constexpr bool writable = HasToString<T>::value || HasStreamOut<T>::value;  ///< toString or <<.
    static constexpr bool readable = HasFromString<T>::value || HasStreamIn<T>::value;  ///< fromString or >>.
    /// value.toString(), else the stream insertion of value.
    static std::string write(const T& value) {
        if constexpr (HasToString<T>::value) {
            return value.toString();
        } else {
            std::stringstream stream;
            stream << value;
            return stream.str();
        }
    }
    /// T::fromString(text), else the value read from text by the stream rule.
    static T read(const std::string& text) {
        if constexpr (HasFromString<T>::value) return T::fromString(text);
        else return readByStreamRule<T>(text);
    }
};

/// Types whose text form is refused in both directions.
struct NoText {
    static constexpr bool writable = false;  ///< No text to write.
    static constexpr bool readable = false;  ///< No text to read.
};
template <>
struct Text<cv::Mat> : NoText {};
template <>
struct Text<cv::Size_<int>> : NoText {};
template <>
struct Text<cv::Rect_<int>> : NoText {};

/// Scalars: stream insertion with default flags; reading by the stream rule. (float,
/// double, signed char and unsigned char are written by valuetext, and the two small
/// integer types read by it too.)
template <class T>
struct Text<T, std::enable_if_t<std::is_arithmetic_v<T>>> {
    static constexpr bool writable = true;  ///< Every scalar.
    static constexpr bool readable = true;  ///< Every scalar.
    /// Stream insertion with default flags.
    static std::string write(const T& value) {
        std::stringstream stream;
        stream << value;
        return stream.str();
    }
    /// The stream rule.
    static T read(const std::string& text) { return readByStreamRule<T>(text); }
};

/// A string is its own text. (valuetext reads it.)
template <>
struct Text<std::string> {
    static constexpr bool writable = true;  ///< A string is its own text.
    /// value itself.
    static std::string write(const std::string& value) { return value; }
};

/// "x:y". (valuetext reads it.)
template <>
struct Text<cv::Point_<int>> {
    static constexpr bool writable = true;  ///< "x:y".
    /// "x:y", each coordinate as an int.
    static std::string write(const cv::Point_<int>& value) {
        return Text<int>::write(value.x) + ":" + Text<int>::write(value.y);
    }
};

/// Vectors and lists: every element's text followed by ";". Reading counts the
/// ";" and reads that many elements, so text behind the last ";" is not read.
template <class Sequence>
struct SequenceText {
    using Element = typename Sequence::value_type;  ///< The element type.
    static constexpr bool writable = true;           ///< Element by element.
    static constexpr bool readable = true;           ///< Element by element.
    /// Every element's text followed by ";".
    static std::string write(const Sequence& values) {
        std::string text;
        for (const Element& value : values) {
            text += toStringTimpl<Element>(value);
            text += ';';
        }
        return text;
    }
    /// As many elements as text holds ";", each read from the text before its ";".
    static Sequence read(const std::string& text) {
        Sequence values(static_cast<size_t>(std::count(text.begin(), text.end(), ';')));
        size_t position = 0;
        for (auto it = values.begin(); it != values.end(); ++it) {
            const size_t separator = text.find(';', position);
            *it = fromStringTimpl<Element>(text.substr(position, separator - position));
            position = separator + 1;
        }
        return values;
    }
};

template <class E>
struct Text<std::vector<E>> : SequenceText<std::vector<E>> {};
template <class E>
struct Text<std::list<E>> : SequenceText<std::list<E>> {};

/// The text form of value; throws for a type that has none.
template <class T>
std::string toStringTimpl(const T& value) {
    if constexpr (Text<T>::writable) return Text<T>::write(value);
    else ZARVO_THROW("type '" << zarvo::Exception::typeName(typeid(T)) << "' can not be serialized to string");
}

/// A value read from its text; throws for a type that has none.
template <class T>
T fromStringTimpl(const std::string& text) {
    if constexpr (Text<T>::readable) return Text<T>::read(text);
    else ZARVO_THROW("type '" << zarvo::Exception::typeName(typeid(T)) << "' can not be deserialized from string");
}

}  // namespace zarvo::exp::intern
