#include "tools/bytes/ByteView.h"

#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/TypeObject.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "tools/bytes/ValueJson.h"

using Storage = zarvo::exp::DataStorage<std::string>;

namespace inspect {
namespace {

using namespace zarvo::exp;

// Stored metadata holds groups; they read back only under a registered name.
[[maybe_unused]] const TypeObject* const kStorageEntry = registerStorageType();

// Whether a record can be read from text: it has a static fromString.
template <class R, class = void>
struct ReadsText : std::false_type {};
template <class R>
struct ReadsText<R, std::void_t<decltype(R::fromString(std::declval<const std::string&>()))>> : std::true_type {};

// The minimum, maximum and mean of one channel of a matrix.
struct ChannelStats {
    double min;
    double max;
    double mean;
};

// The statistics of each channel of a matrix; none for an empty one.
std::vector<ChannelStats> channelStats(const cv::Mat& matrix) {
    if (matrix.empty()) return {};
    cv::Mat values = matrix.isContinuous() ? matrix : matrix.clone();
    if (values.depth() == CV_16F) values.convertTo(values, CV_32F);  // minMaxIdx and mean take no half floats
    // One row per pixel, one column per channel, over the same bytes.
    const cv::Mat table(static_cast<int>(values.total()), values.channels(), values.depth(), values.data);
    std::vector<ChannelStats> stats;
    for (int c = 0; c < table.cols; ++c) {
        ChannelStats channel{};
        cv::minMaxIdx(table.col(c), &channel.min, &channel.max);
        channel.mean = cv::mean(table.col(c))[0];
        stats.push_back(channel);
    }
    return stats;
}

// A text on the head line, or below it when it spans lines (trailing line ends dropped).
Shown textOf(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    if (text.find('\n') == std::string::npos) return {text, {}, {}};
    Shown shown;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) shown.lines.push_back(line);
    return shown;
}

std::string counted(size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

Shown textFor(const std::shared_ptr<Variant>& value);

Shown storageTree(const Storage& storage) {
    Shown shown{counted(storage.size(), "entry", "entries"), {}, {}};
    for (const auto& [key, value] : storage) {
        const Shown inner = textFor(value);
        shown.lines.push_back(key + " (" + value->getTypeString() +
                              "):" + (inner.head.empty() ? "" : " " + inner.head));
        for (const std::string& line : inner.lines) shown.lines.push_back("  " + line);
    }
    return shown;
}

Shown matrices(const std::vector<cv::Mat>& list) {
    Shown shown{counted(list.size(), "matrix", "matrices"), {}, {}};
    for (size_t i = 0; i < list.size(); ++i) {
        shown.lines.push_back("[" + std::to_string(i) + "] " + matrixLine(list[i]));
        for (const std::string& line : channelLines(list[i])) shown.lines.push_back("  " + line);
    }
    return shown;
}

// The text half of show().
Shown textFor(const std::shared_ptr<Variant>& value) {
    if (!value) return {"(no value)", {}, {}};
    if (const auto* matrix = value->getIf<cv::Mat>()) return {matrixLine(*matrix), channelLines(*matrix), {}};
    if (const auto* list = value->getIf<std::vector<cv::Mat>>()) return matrices(*list);
    if (const Storage* group = Storage::groupOf(*value)) return storageTree(*group);
    if (const auto* size = value->getIf<cv::Size>())
        return {std::to_string(size->width) + "x" + std::to_string(size->height), {}, {}};
    if (const auto* rect = value->getIf<cv::Rect>()) {
        return {std::to_string(rect->width) + "x" + std::to_string(rect->height) + " at " + std::to_string(rect->x) +
                    ":" + std::to_string(rect->y),
                {},
                {}};
    }
    return textOf(value->toString());
}

// Written straight into the vector: the size is known before anything is written.
std::vector<char> bytesOf(const Variant& value, Endian endian) {
    std::vector<char> bytes(value.sizeofT_imp());
    bytes.resize(value.serialize_imp(endian, bytes.data()));
    return bytes;
}

// The records, read and written through their own members.
struct Record {
    TypeRow row;
    Shown (*read)(Endian, const char*, size_t, size_t&);
    std::vector<char> (*write)(const char* name, Endian, const std::string&);  // nullptr: no text to read from
};

template <class R>
Shown readRecord(Endian endian, const char* data, size_t available, size_t& used) {
    const R value = R::deserialize(endian, data, available, used);
    Shown shown = textOf(value.toString());
    shown.json = toJson(value, kJsonOptions);
    return shown;
}

// Through an entry of the record's own, never registered: the strict reading and its
// refusal are those of the registry.
template <class R>
std::vector<char> writeRecord(const char* name, Endian endian, const std::string& text) {
    return bytesOf(*TypeObject_<R>(name).parse(text), endian);
}

template <class R>
Record record(const char* name, const char* cppType, const char* byteForm) {
    if constexpr (ReadsText<R>::value) return {{name, cppType, byteForm, "yes"}, readRecord<R>, writeRecord<R>};
    else return {{name, cppType, byteForm, "out only"}, readRecord<R>, nullptr};
}

const std::vector<Record>& records() {
    static const std::vector<Record> table{
        record<MarkedFloat>("MarkedFloat", "zarvo::exp::MarkedFloat", "4-byte word"),
        record<Version>("Version", "zarvo::exp::Version", "3 x uint32"),
        record<VersionExtended>("VersionExtended", "zarvo::exp::VersionExtended", "4 x uint32"),
        record<MeasPoint>("MeasPoint", "zarvo::exp::MeasPoint", "x, y, type name, value"),
        record<MeasArea>("MeasArea", "zarvo::exp::MeasArea", "rectangle, 2 points, mean value"),
        record<zarvo::ProbeValue>("ProbeValue", "zarvo::ProbeValue", "float, int8, uint8"),
        record<zarvo::DeviceInfo>("DeviceInfo", "zarvo::DeviceInfo", "26 bytes + date text"),
        record<zarvo::DeviceInfo2>("DeviceInfo2", "zarvo::DeviceInfo2", "26 bytes + date text"),
        record<zarvo::MaterialNumber>("MaterialNumber", "zarvo::MaterialNumber", "uint32 length + text + type"),
        record<zarvo::CalibrationInfo>("CalibrationInfo", "zarvo::CalibrationInfo", "32 bytes"),
    };
    return table;
}

const Record* findRecord(const std::string& name) {
    for (const Record& r : records())
        if (name == r.row.name) return &r;
    return nullptr;
}

}  // namespace

std::vector<std::string> channelLines(const cv::Mat& matrix) {
    std::vector<std::string> lines;
    for (const ChannelStats& c : channelStats(matrix)) {
        std::ostringstream line;
        line << "channel " << lines.size() << ": min " << c.min << ", max " << c.max << ", mean " << c.mean;
        lines.push_back(line.str());
    }
    return lines;
}

std::string matrixLine(const cv::Mat& matrix) {
    std::string sizes;
    for (int i = 0; i < matrix.dims; ++i) sizes += (i == 0 ? " " : "x") + std::to_string(matrix.size[i]);
    return std::to_string(matrix.dims) + " dims" + sizes + ", " + cv::typeToString(matrix.type());
}

Shown show(const std::shared_ptr<Variant>& value) {
    Shown shown = textFor(value);
    shown.json = toJson(value, kJsonOptions);
    return shown;
}

Reader readerFor(const std::string& name, std::shared_ptr<Variant>* last) {
    if (const Record* r = findRecord(name)) return r->read;
    if (TypeObject::findP(name) == nullptr) return {};
    return [name, last](Endian endian, const char* data, size_t available, size_t& used) {
        auto value = Variant::deserialize(name, endian, data, available, used);
        if (last != nullptr) *last = value;
        return show(value);
    };
}

Writer writerFor(const std::string& name, bool& known) {
    known = true;
    if (const Record* r = findRecord(name)) {
        if (r->write == nullptr) return {};
        return [r](Endian endian, const std::string& text) { return r->write(r->row.name, endian, text); };
    }
    known = TypeObject::findP(name) != nullptr;
    if (!known) return {};
    return [name](Endian endian, const std::string& text) {
        const auto value = Variant::parse(name, text);
        if (!value) throw std::runtime_error("type '" + name + "' has no value to write");
        return bytesOf(*value, endian);
    };
}

const std::vector<TypeRow>& registeredTypes() {
    // The library's registration order; the names are fixed, only the registry's
    // maps (which have no order) could list them otherwise.
    static const std::vector<TypeRow> table{
        {"bool", "bool", "1 byte", "yes"},
        {"char", "char", "1 byte", "yes"},
        {"int8", "signed char", "1 byte", "yes"},
        {"uint8", "unsigned char", "1 byte", "yes"},
        {"int16", "short", "2 bytes", "yes"},
        {"uint16", "unsigned short", "2 bytes", "yes"},
        {"int32", "int", "4 bytes", "yes"},
        {"uint32", "unsigned int", "4 bytes", "yes"},
        {"void", "void", "none (reads nothing)", "gives no value"},
        {"vecbool", "std::vector<bool>", "uint32 count + 1 byte each", "yes"},
        {"vecchar", "std::vector<char>", "uint32 count + elements", "yes"},
        {"vecint8", "std::vector<signed char>", "uint32 count + elements", "yes"},
        {"vecuint8", "std::vector<unsigned char>", "uint32 count + elements", "yes"},
        {"vecint16", "std::vector<short>", "uint32 count + elements", "yes"},
        {"vecuint16", "std::vector<unsigned short>", "uint32 count + elements", "yes"},
        {"vecint32", "std::vector<int>", "uint32 count + elements", "yes"},
        {"vecuint32", "std::vector<unsigned int>", "uint32 count + elements", "yes"},
        {"listbool", "std::list<bool>", "uint32 count + 1 byte each", "yes"},
        {"listchar", "std::list<char>", "uint32 count + elements", "yes"},
        {"listint8", "std::list<signed char>", "uint32 count + elements", "yes"},
        {"listuint8", "std::list<unsigned char>", "uint32 count + elements", "yes"},
        {"listint16", "std::list<short>", "uint32 count + elements", "yes"},
        {"listuint16", "std::list<unsigned short>", "uint32 count + elements", "yes"},
        {"listint32", "std::list<int>", "uint32 count + elements", "yes"},
        {"listuint32", "std::list<unsigned int>", "uint32 count + elements", "yes"},
        {"int64", "std::int64_t", "8 bytes", "yes"},
        {"uint64", "std::uint64_t", "8 bytes", "yes"},
        {"vecint64", "std::vector<std::int64_t>", "uint32 count + elements", "yes"},
        {"vecuint64", "std::vector<std::uint64_t>", "uint32 count + elements", "yes"},
        {"listint64", "std::list<std::int64_t>", "uint32 count + elements", "yes"},
        {"listuint64", "std::list<std::uint64_t>", "uint32 count + elements", "yes"},
        {"float", "float", "4 bytes", "yes"},
        {"vecfloat", "std::vector<float>", "uint32 count + elements", "yes"},
        {"listfloat", "std::list<float>", "uint32 count + elements", "yes"},
        {"double", "double", "8 bytes", "yes"},
        {"vecdouble", "std::vector<double>", "uint32 count + elements", "yes"},
        {"listdouble", "std::list<double>", "uint32 count + elements", "yes"},
        {"string", "std::string", "uint32 length + bytes", "yes"},
        {"vecstring", "std::vector<std::string>", "uint32 count + strings", "yes"},
        {"liststring", "std::list<std::string>", "uint32 count + strings", "yes"},
        {"cvmat", "cv::Mat", "header + pixels, no_swap only", "no"},
        {"cvsize", "cv::Size", "8 bytes, no_swap only", "no"},
        {"cvpoint", "cv::Point", "8 bytes, no_swap only", "yes (x:y)"},
        {"cvrect", "cv::Rect", "16 bytes, no_swap only", "no"},
        {"veccvmat", "std::vector<cv::Mat>", "uint32 count + matrices, no_swap only", "only when empty"},
        {"listcvmat", "std::list<cv::Mat>", "none", "only when empty"},
        {"storage", "zarvo::exp::DataStorage<std::string>", "uint64 count + entries", "no"},
    };
    return table;
}

const std::vector<TypeRow>& recordTypes() {
    static const std::vector<TypeRow> rows = [] {
        std::vector<TypeRow> all;
        for (const Record& r : records()) all.push_back(r.row);
        return all;
    }();
    return rows;
}

}  // namespace inspect
