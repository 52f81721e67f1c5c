#include "valuefault/Exception.h"

#include <cxxabi.h>

#include <cctype>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

namespace zarvo {

Exception::Exception(const std::string& message, const std::string& where) : m_message(message), m_where(where) {}

Exception::~Exception() = default;

std::string Exception::whereText(const char* file, int line, const char* prettyFunction) {
    std::ostringstream where;
    where << file << ": " << line << ": " << qualifiedName(prettyFunction) << "(..)" << std::endl;
    return where.str();
}

namespace {

bool isIdentifierChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

bool isKeywordAt(const std::string& text, size_t pos, const char* keyword) {
    const std::string word(keyword);
    return text.compare(pos, word.size(), word) == 0 && (pos == 0 || !isIdentifierChar(text[pos - 1])) &&
           (pos + word.size() >= text.size() || !isIdentifierChar(text[pos + word.size()]));
}

// "T = int; U = std::vector<int>" -> {{"T", "int"}, {"U", "std::vector<int>"}}
std::vector<std::pair<std::string, std::string>> parseBindings(const std::string& with) {
    std::vector<std::pair<std::string, std::string>> bindings;
    size_t start = 0;
    int depth = 0;
    for (size_t i = 0; i <= with.size(); ++i) {
        const char c = i < with.size() ? with[i] : ';';
        if (c == '<' || c == '(' || c == '[') ++depth;
        else if (c == '>' || c == ')' || c == ']') --depth;
        else if (c == ';' && depth == 0) {
            const std::string binding = with.substr(start, i - start);
            const size_t eq = binding.find(" = ");
            if (eq != std::string::npos) {
                size_t nameStart = binding.find_first_not_of(' ');
                bindings.emplace_back(binding.substr(nameStart, eq - nameStart), binding.substr(eq + 3));
            }
            start = i + 1;
        }
    }
    return bindings;
}

// Replaces whole identifiers only: "T" in "Variant_<T>" but not in "Type".
std::string substitute(const std::string& name, const std::vector<std::pair<std::string, std::string>>& bindings) {
    std::string out;
    for (size_t i = 0; i < name.size();) {
        if (isIdentifierChar(name[i]) && (i == 0 || !isIdentifierChar(name[i - 1]))) {
            size_t end = i;
            while (end < name.size() && isIdentifierChar(name[end])) ++end;
            const std::string word = name.substr(i, end - i);
            const std::string* replacement = &word;
            for (const auto& binding : bindings)
                if (binding.first == word) replacement = &binding.second;
            out += *replacement;
            i = end;
        } else {
            out += name[i++];
        }
    }
    return out;
}

}  // namespace

std::string Exception::qualifiedName(const char* prettyFunction) {
    std::string signature(prettyFunction);
    std::string with;
    const size_t withPos = signature.find(" [with ");
    if (withPos != std::string::npos) {
        with = signature.substr(withPos + 7, signature.size() - withPos - 8);
        signature.erase(withPos);
    }

    // The name ends at the argument list: the first "(" outside template brackets.
    // An operator's own symbols ("operator>>", "operator()") are not brackets.
    size_t nameEnd = std::string::npos;
    size_t operatorPos = std::string::npos;
    int depth = 0;
    for (size_t i = 0; i < signature.size(); ++i) {
        if (isKeywordAt(signature, i, "operator")) {
            operatorPos = i;
            size_t symbols = i + 8;
            if (signature.compare(symbols, 2, "()") == 0) symbols += 2;
            nameEnd = signature.find('(', symbols);
            break;
        }
        const char c = signature[i];
        if (c == '<') ++depth;
        else if (c == '>') --depth;
        else if (c == '(' && depth == 0) {
            nameEnd = i;
            break;
        }
    }
    if (nameEnd == std::string::npos) nameEnd = signature.size();

    // The name starts behind the return type: the last blank outside template brackets.
    size_t nameStart = 0;
    depth = 0;
    for (size_t i = operatorPos != std::string::npos ? operatorPos : nameEnd; i-- > 0;) {
        const char c = signature[i];
        if (c == '>') ++depth;
        else if (c == '<') --depth;
        else if (c == ' ' && depth == 0) {
            nameStart = i + 1;
            break;
        }
    }
    return substitute(signature.substr(nameStart, nameEnd - nameStart), parseBindings(with));
}

namespace {

// Template arguments that a declaration leaves to their defaults: naming them only
// buries the type a reader is looking for.
bool isDefaultArgument(const std::string& argument) {
    static const char* const defaults[] = {"std::allocator<", "std::char_traits<", "std::less<",
                                           "std::equal_to<",  "std::hash<",        "std::default_delete<"};
    for (const char* prefix : defaults)
        if (argument.rfind(prefix, 0) == 0) return true;
    return false;
}

// The demangled name from pos up to the first ',' or '>' outside brackets and parentheses,
// each template argument list written without its defaulted trailing arguments and
// closed without a blank. False when the brackets do not balance.
bool readableFrom(const std::string& name, size_t& pos, std::string& out) {
    int parentheses = 0;
    while (pos < name.size()) {
        const char c = name[pos];
        if (parentheses == 0 && (c == ',' || c == '>')) break;
        ++pos;
        if (c != '<') {
            parentheses += c == '(' ? 1 : c == ')' ? -1 : 0;
            out += c;
            continue;
        }
        std::vector<std::string> arguments;
        for (;;) {
            while (pos < name.size() && name[pos] == ' ') ++pos;
            std::string argument;
            if (!readableFrom(name, pos, argument) || pos >= name.size()) return false;
            while (!argument.empty() && argument.back() == ' ') argument.pop_back();
            arguments.push_back(std::move(argument));
            if (name[pos++] == '>') break;
        }
        while (arguments.size() > 1 && isDefaultArgument(arguments.back())) arguments.pop_back();
        out += '<';
        for (size_t i = 0; i < arguments.size(); ++i) out += (i == 0 ? "" : ", ") + arguments[i];
        out += '>';
        static const std::string basicString = "std::basic_string<char>";
        if (out.size() >= basicString.size() &&
            out.compare(out.size() - basicString.size(), std::string::npos, basicString) == 0)
            out.replace(out.size() - basicString.size(), std::string::npos, "std::string");
    }
    return parentheses == 0;
}

}  // namespace

std::string Exception::typeName(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                           std::free);
    if (status != 0 || !demangled) return type.name();
    // libstdc++'s inline namespace for its C++11 string and list is no part of a name a person writes.
    std::string name(demangled.get());
    static const std::string inlineNamespace = "std::__cxx11::";
    for (size_t pos = name.find(inlineNamespace); pos != std::string::npos; pos = name.find(inlineNamespace, pos))
        name.erase(pos + 5, inlineNamespace.size() - 5);
    std::string readable;
    size_t pos = 0;
    if (!readableFrom(name, pos, readable) || pos != name.size()) return name;
    return readable;
}

std::string Exception::printable(const std::string& text) {
    static const char digits[] = "0123456789abcdef";
    std::string shown;
    shown.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0u;
        if (byte == '\n') shown += "\\n";
        else if (byte == '\r') shown += "\\r";
        else if (byte == '\t') shown += "\\t";
        else if (byte < 0x20 || byte == 0x7f) shown += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        else if (byte == 0xc2 && next >= 0x80 && next <= 0x9f) {
            // U+0080..U+009F: a terminal reading UTF-8 takes U+009B as the start of a control sequence.
            shown += {'\\', 'u', '0', '0', digits[next >> 4], digits[next & 15]};
            ++i;
        } else shown += static_cast<char>(byte);
    }
    return shown;
}

}  // namespace zarvo
