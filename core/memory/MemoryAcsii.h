#pragma once

// The general definition of the two text templates declared in
// valuetext/ValueText.h: the text form of every value but the eight forms the
// valuetext library supplies (that header's table). One value and nothing else,
// no type name, no quoting, no escaping. A container's form is each element's
// form followed by ";".
//
// Two readers per family: read() is the lenient one of fromString (the stream
// rule: whatever the stream extracts, no error), parse() the strict one of
// Variant::parse, which gives nothing unless the text is exactly one value of the
// type, and expected() says in words what parse() accepts, for the refusal.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <opencv2/core.hpp>

#include "core/datatypes/MarkedFloat.h"
#include "valuefault/Exception.h"
#include "valuetext/ValueText.h"

namespace zarvo::exp::intern {

/// The text codec of one type family: writable/readable say whether the family
/// has a text form in that direction, write() and read() give it, parse() and
/// expected() are the strict reading. The primary template serves any other type
/// (a caller's own): its members toString() and static fromString(text) if it has
/// them, else its stream operators, else nothing.
template <class T, class Enable = void>
struct Text;

template <class T>
std::optional<T> parseTimpl(const std::string& text);
template <class T>
std::string expectedTextOf();

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
    static constexpr bool writable = HasToString<T>::value || HasStreamOut<T>::value;   ///< toString or <<.
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
    /// The strict form of read(): through T::fromString, the value whose toString()
    /// gives text back exactly (a type without toString takes what fromString takes);
    /// through the stream operator, the value it reads from the whole text with no
    /// failbit. What the reader throws passes.
    static std::optional<T> parse(const std::string& text) {
        if constexpr (HasFromString<T>::value) {
            T value = T::fromString(text);
            if constexpr (HasToString<T>::value)
                if (value.toString() != text) return std::nullopt;
            return value;
        } else {
            std::istringstream stream(text);
            T value{};
            stream >> value;
            if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof()) return std::nullopt;
            return value;
        }
    }
    /// What parse() accepts, in words.
    static std::string expected() {
        if constexpr (HasFromString<T>::value) return "the text its toString writes";
        else return "what its stream operator reads, to the end of the text";
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
    /// bool: "0" or "1"; char: one character; the other integers: a decimal number
    /// in the type's range; float and double: a decimal number in range, "inf" and
    /// "nan" included. Nothing before or behind it, not even a blank.
    static std::optional<T> parse(const std::string& text) {
        if constexpr (std::is_same_v<T, bool>) {
            if (text == "0" || text == "1") return text == "1";
            return std::nullopt;
        } else if constexpr (std::is_same_v<T, char>) {
            if (text.size() == 1) return text[0];
            return std::nullopt;
        } else {
            T value{};
            const char* end = text.data() + text.size();
            const std::from_chars_result result = std::from_chars(text.data(), end, value);
            if (result.ec != std::errc() || result.ptr != end || text.empty()) return std::nullopt;
            return value;
        }
    }
    /// What parse() accepts, in words.
    static std::string expected() {
        if constexpr (std::is_same_v<T, bool>) return "0 or 1";
        else if constexpr (std::is_same_v<T, char>) return "exactly one character";
        else if constexpr (std::is_floating_point_v<T>)
            return std::string("a decimal number in the range of ") + (sizeof(T) == 4 ? "float" : "double");
        else
            return "a decimal whole number from " + std::to_string(+std::numeric_limits<T>::lowest()) + " to " +
                   std::to_string(+std::numeric_limits<T>::max());
    }
};

/// A number and, after one blank, the mark's label as toString writes it: "1.5",
/// "1.5 (Overrange)", "nan (Empty)". The lenient reader is MarkedFloat::fromString.
template <>
struct Text<MarkedFloat> {
    static constexpr bool writable = true;  ///< toString().
    static constexpr bool readable = true;  ///< fromString(), and parse() for the marks.
    /// value.toString().
    static std::string write(const MarkedFloat& value) { return value.toString(); }
    /// MarkedFloat::fromString: the leading number, a valid value, the label ignored.
    static MarkedFloat read(const std::string& text) { return MarkedFloat::fromString(text); }
    /// The number read strictly as a float, marked as its label says; "(Empty)"
    /// only after a NaN, since an empty value is one.
    static std::optional<MarkedFloat> parse(const std::string& text) {
        const size_t blank = text.find(' ');
        const std::optional<float> number = Text<float>::parse(text.substr(0, blank));
        if (!number) return std::nullopt;
        MarkedFloat value(*number, MarkedFloat::Valid);
        if (blank == std::string::npos) return value;
        const std::string label = text.substr(blank + 1);
        if (label == "(Underrange)") value.setUnderrange();
        else if (label == "(Overrange)") value.setOverrange();
        else if (label == "(OtherMark)") value.setOtherMark();
        else if (label == "(Invalid)") value.setInvalid();
        else if (label == "(Empty)" && std::isnan(*number)) value.setEmpty();
        else return std::nullopt;
        return value;
    }
    /// What parse() accepts, in words.
    static std::string expected() {
        return "a number, alone or followed by one of (Underrange), (Overrange), (OtherMark), (Invalid), or nan "
               "(Empty)";
    }
};

/// A string is its own text. (valuetext reads it.)
template <>
struct Text<std::string> {
    static constexpr bool writable = true;  ///< A string is its own text.
    static constexpr bool readable = true;  ///< A string is its own text.
    /// value itself.
    static std::string write(const std::string& value) { return value; }
    /// text itself: every text is one string.
    static std::optional<std::string> parse(const std::string& text) { return text; }
    /// What parse() accepts, in words.
    static std::string expected() { return "any text"; }
};

/// "x:y". (valuetext reads it.)
template <>
struct Text<cv::Point_<int>> {
    static constexpr bool writable = true;  ///< "x:y".
    /// "x:y", each coordinate as an int.
    static std::string write(const cv::Point_<int>& value) {
        return Text<int>::write(value.x) + ":" + Text<int>::write(value.y);
    }
    static constexpr bool readable = true;  ///< "x:y".
    /// Two ints, each read strictly, around one ":".
    static std::optional<cv::Point_<int>> parse(const std::string& text) {
        const size_t colon = text.find(':');
        if (colon == std::string::npos) return std::nullopt;
        const std::optional<int> x = Text<int>::parse(text.substr(0, colon));
        const std::optional<int> y = Text<int>::parse(text.substr(colon + 1));
        if (!x || !y) return std::nullopt;
        return cv::Point_<int>(*x, *y);
    }
    /// What parse() accepts, in words.
    static std::string expected() { return "x:y, two whole numbers in the range of int"; }
};

/// Vectors and lists: every element's text followed by ";". Reading counts the
/// ";" and reads that many elements, so text behind the last ";" is not read.
template <class Sequence>
struct SequenceText {
    using Element = typename Sequence::value_type;  ///< The element type.
    static constexpr bool writable = true;          ///< Element by element.
    static constexpr bool readable = true;          ///< Element by element.
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
    /// Every element read strictly from the text before its ";"; the empty text is
    /// the empty container, and text behind the last ";" is refused.
    static std::optional<Sequence> parse(const std::string& text) {
        Sequence values;
        for (size_t position = 0; position < text.size();) {
            const size_t separator = text.find(';', position);
            if (separator == std::string::npos) return std::nullopt;
            std::optional<Element> element = parseTimpl<Element>(text.substr(position, separator - position));
            if (!element) return std::nullopt;
            values.push_back(std::move(*element));
            position = separator + 1;
        }
        return values;
    }
    /// What parse() accepts, in words.
    static std::string expected() {
        if constexpr (!Text<Element>::readable) return "the empty text, since its elements have no text form";
        else return "elements each followed by \";\" (an element: " + Text<Element>::expected() + ")";
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

/// The value, when text holds exactly one value of T as its text form writes it;
/// nothing otherwise, and nothing for a type without text form.
template <class T>
std::optional<T> parseTimpl(const std::string& text) {
    if constexpr (Text<T>::readable) return Text<T>::parse(text);
    else return std::nullopt;
}

/// What parseTimpl<T> accepts, in words: the end of its refusal message.
template <class T>
std::string expectedTextOf() {
    if constexpr (Text<T>::readable) return "expected " + Text<T>::expected();
    else return "the type has no text form";
}

/// A value read from its text; throws for a type that has none.
template <class T>
T fromStringTimpl(const std::string& text) {
    if constexpr (Text<T>::readable) return Text<T>::read(text);
    else ZARVO_THROW("type '" << zarvo::Exception::typeName(typeid(T)) << "' can not be deserialized from string");
}

}  // namespace zarvo::exp::intern
