#include "core/datatypes/MarkedFloat.h"

#include <istream>
#include <limits>
#include <ostream>
#include <sstream>

#include "valuefault/Exception.h"
#include "valuetext/ValueText.h"

namespace zarvo::exp {

std::uint32_t MarkedFloat::wordFromLegacy(std::uint32_t code, bool toRangeEnds) {
    switch (code) {
        case LegacyCode::Overrange:
            return MarkedFloat(toRangeEnds ? std::numeric_limits<float>::max() : floatOf(code), Overrange).m_word;
        case LegacyCode::Underrange:
            return MarkedFloat(toRangeEnds ? std::numeric_limits<float>::lowest() : floatOf(code), Underrange).m_word;
        // Legacy readers never told invalid, empty and other mark apart: they all come
        // back empty, as do 0x83 and all ones, which no writer produces.
        case LegacyCode::Unused:
        case LegacyCode::Invalid:
        case LegacyCode::Empty:
        case LegacyCode::OtherMark:
        case LegacyCode::AllOnes: return kEmptyWord;
        default: return code & ~kMarkedBit;
    }
}

float MarkedFloat::toLegacy() const {
    switch (mark()) {
        case Overrange: return floatOf(LegacyCode::Overrange);
        case Underrange: return floatOf(LegacyCode::Underrange);
        case OtherMark: return floatOf(LegacyCode::OtherMark);
        case Invalid: return floatOf(isEmpty() ? LegacyCode::Empty : LegacyCode::Invalid);
        default: return toFloat();
    }
}

void MarkedFloat::fromLegacy(float legacy) { m_word = wordFromLegacy(wordOf(legacy), false); }

bool MarkedFloat::checkRange(float minimum, float maximum) {
    // A plain text rather than a zarvo::Exception: range-checking callers catch this
    // one apart from the library's errors.
    if (minimum > maximum) throw "Minimum greater than maximum.";
    setValid();
    bool inRange = true;
    if (minimum > toFloat()) {
        setUnderrange();
        inRange = false;
    }
    // Read anew: the underrange mark above has changed the low bits.
    if (toFloat() > maximum) {
        setOverrange();
        inRange = false;
    }
    return inRange;
}

const char* MarkedFloat::label(bool everyMark) const {
    switch (mark()) {
        case Underrange: return " (Underrange)";
        case Overrange: return " (Overrange)";
        case OtherMark: return everyMark ? " (OtherMark)" : "";
        case Invalid: return isEmpty() ? " (Empty)" : everyMark ? " (Invalid)" : "";
        default: return "";
    }
}

std::string MarkedFloat::toString() const {
    std::ostringstream text;
    text << toFloat() << label(true);
    return text.str();
}

MarkedFloat MarkedFloat::fromString(const std::string& text) {
    return MarkedFloat(intern::readByStreamRule<float>(text), Valid);
}

}  // namespace zarvo::exp

namespace {

// The where text names the stream reader "operator >>", the name this reader has
// always had in error reports; the compiler's signature of this global function
// would spell it "operator>>", so the texts are built here instead of by ZARVO_THROW.
[[noreturn]] void failToRead(const char* message, int line) {
    throw zarvo::Exception(message, zarvo::Exception::whereText(__FILE__, line, "operator >>"));
}

}  // namespace

std::istream& operator>>(std::istream& stream, zarvo::exp::MarkedFloat& value) {
    using zarvo::exp::MarkedFloat;
    // A stream already at its end extracts nothing and leaves the number as it was.
    float number = value.toFloat();
    stream >> number;
    value.m_word = MarkedFloat::wordOf(number);
    if (stream.eof()) {
        value.setValid();
        return stream;
    }
    // Only a blank opens a label; a failed extraction peeks at no character at all.
    if (stream.peek() != ' ') failToRead("Invalid characters detected", __LINE__);
    stream.setf(std::ios_base::skipws);
    std::string token;
    stream >> token;
    static const struct {
        const char* text;
        void (MarkedFloat::*write)();
    } labels[] = {{"(Empty)", &MarkedFloat::setEmpty},
                  {"(Underrange)", &MarkedFloat::setUnderrange},
                  {"(Overrange)", &MarkedFloat::setOverrange},
                  {"(OtherMark)", &MarkedFloat::setOtherMark},
                  {"(Invalid)", &MarkedFloat::setInvalid}};
    for (const auto& label : labels)
        if (token.rfind(label.text, 0) == 0) {
            (value.*label.write)();
            return stream;
        }
    failToRead("Unable to decode marker", __LINE__);
}

std::ostream& operator<<(std::ostream& stream, const zarvo::exp::MarkedFloat& value) {
    return stream << value.toFloat() << value.label(false);
}
