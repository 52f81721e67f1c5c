#pragma once

#include <exception>
#include <sstream>
#include <string>
#include <typeinfo>

#include "valuefault/Export.h"

namespace zarvo {

/// The error every part of the library throws: a message saying what went wrong
/// and a where text saying at which place of the source ("path: line: function(..)").
class ZARVO_EXPORT Exception : public std::exception {
public:
    /// Holds both texts as given.
    Exception(const std::string& message, const std::string& where);
    /// Copies both texts.
    Exception(const Exception&) = default;
    /// Copies both texts.
    Exception& operator=(const Exception&) = default;
    /// Releases both texts.
    ~Exception() override;

    /// What went wrong.
    const std::string& message() const noexcept { return m_message; }
    /// Where it was thrown: source path, line, qualified function name, "(..)" and a line end.
    const std::string& where() const noexcept { return m_where; }
    /// The message, for code that only knows std::exception.
    const char* what() const noexcept override { return m_message.c_str(); }

    /// Builds the where text for a throw site from the compiler's own names.
    static std::string whereText(const char* file, int line, const char* prettyFunction);

    /// Reduces a compiler's full function signature to its qualified name with the
    /// template arguments of the enclosing class written in, e.g.
    /// "void zarvo::exp::Variant_<T>::moveImpl(T&&) [with T = int]" gives
    /// "zarvo::exp::Variant_<int>::moveImpl".
    static std::string qualifiedName(const char* prettyFunction);

    /// The readable name of a C++ type for texts meant for people: the demangled name
    /// as a person writes it ("int", "cv::Mat", "std::list<cv::Mat>",
    /// "std::map<std::string, int>"): defaulted allocators, traits and comparators left
    /// out, std::string so named, libstdc++'s inline namespace dropped; the raw name
    /// when the demangler cannot read it.
    static std::string typeName(const std::type_info& type);

    /// text made safe to show on a terminal: each control character (C0, DEL and the
    /// UTF-8 forms of C1) becomes a backslash escape (n, r, t, or x and two hex digits,
    /// u00 and two for C1). Bytes from a device or a file then cannot move the cursor
    /// or recolour the screen; every other byte is kept, so a text made safe once
    /// stays the same when made safe again.
    static std::string printable(const std::string& text);

private:
    std::string m_message;
    std::string m_where;
};

}  // namespace zarvo

/// Throws a zarvo::Exception whose message is the stream insertion of the arguments,
/// e.g. ZARVO_THROW("Unknown type id: " << Exception::typeName(type)). Every throw site of the
/// library goes through here so the two texts always have the same form.
#define ZARVO_THROW(streamedMessage)                                                                      \
    do {                                                                                                  \
        std::ostringstream zarvoMessageStream_;                                                           \
        zarvoMessageStream_ << streamedMessage;                                                           \
        std::string zarvoWhere_ = ::zarvo::Exception::whereText(__FILE__, __LINE__, __PRETTY_FUNCTION__); \
        throw ::zarvo::Exception(zarvoMessageStream_.str(), zarvoWhere_);                                 \
    } while (false)
