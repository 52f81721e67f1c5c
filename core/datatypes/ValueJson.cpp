#include "core/datatypes/ValueJson.h"

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <sstream>
#include <type_traits>
#include <utility>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/Frame.h"
#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"

namespace zarvo::exp {
namespace {

using Storage = DataStorage<std::string>;

// An object of members whose values are JSON already.
std::string object(std::initializer_list<std::pair<const char*, std::string>> members) {
    std::string json = "{";
    for (const auto& [name, value] : members) json += (json.size() > 1 ? "," : "") + jsonString(name) + ":" + value;
    return json + "}";
}

// An array of count items, item(i) giving the JSON of the i-th.
template <class Item>
std::string array(size_t count, Item item) {
    std::string json = "[";
    for (size_t i = 0; i < count; ++i) json += (i == 0 ? "" : ",") + item(i);
    return json + "]";
}

// The length of the UTF-8 sequence that starts at text[i], or 0 if none does.
size_t utf8Length(const std::string& text, size_t i) {
    const auto at = [&](size_t k) { return i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0u; };
    const unsigned lead = at(0);
    size_t length = 0;
    unsigned low = 0x80, high = 0xbf;  // the range of the second byte: no overlong form, no surrogate
    if (lead < 0x80) {
        return 1;
    } else if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        low = lead == 0xe0 ? 0xa0 : 0x80;
        high = lead == 0xed ? 0x9f : 0xbf;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        low = lead == 0xf0 ? 0x90 : 0x80;
        high = lead == 0xf4 ? 0x8f : 0xbf;
    } else {
        return 0;
    }
    if (at(1) < low || at(1) > high) return 0;
    for (size_t k = 2; k < length; ++k)
        if (at(k) < 0x80 || at(k) > 0xbf) return 0;
    return length;
}

// The numbers of matrix elements: integers whole, floats shortest.
template <class E>
std::string number(E value) {
    if constexpr (std::is_floating_point_v<E>) return jsonNumber(value);
    else return std::to_string(+value);
}

// Rows of pixels for 2 dimensions, else one flat list; a pixel of several channels is an array.
template <class E>
std::string pixelsOf(const cv::Mat& matrix) {
    const cv::Mat values = matrix.isContinuous() ? matrix : matrix.clone();
    const E* data = values.ptr<E>();
    const size_t channels = static_cast<size_t>(values.channels());
    auto pixel = [&](size_t index) {
        if (channels == 1) return number(data[index]);
        return array(channels, [&](size_t c) { return number(data[index * channels + c]); });
    };
    if (values.dims != 2) return array(values.total(), pixel);
    const size_t columns = static_cast<size_t>(values.cols);
    return array(static_cast<size_t>(values.rows),
                 [&](size_t row) { return array(columns, [&](size_t c) { return pixel(row * columns + c); }); });
}

// Half floats as floats: every half float is one exactly.
std::string halfPixels(const cv::Mat& matrix) {
    cv::Mat singles;
    matrix.convertTo(singles, CV_32F);
    return pixelsOf<float>(singles);
}

// numpy's name and the pixels of each OpenCV depth, indexed by the depth.
struct Depth {
    const char* dtype;
    std::string (*pixels)(const cv::Mat&);
};
static_assert(CV_8U == 0 && CV_8S == 1 && CV_16U == 2 && CV_16S == 3 && CV_32S == 4 && CV_32F == 5 && CV_64F == 6 &&
                  CV_16F == 7,
              "the table below follows OpenCV's depth numbers");
const Depth kDepths[] = {{"uint8", pixelsOf<std::uint8_t>},   {"int8", pixelsOf<std::int8_t>},
                         {"uint16", pixelsOf<std::uint16_t>}, {"int16", pixelsOf<std::int16_t>},
                         {"int32", pixelsOf<std::int32_t>},   {"float32", pixelsOf<float>},
                         {"float64", pixelsOf<double>},       {"float16", halfPixels}};

std::string matrixJson(const cv::Mat& matrix, const JsonOptions& options) {
    std::vector<int> shape{0, 0};  // the matrix of no dimensions, like numpy's empty 2-D array
    if (matrix.dims > 0) shape.assign(matrix.size.p, matrix.size.p + matrix.dims);
    if (matrix.channels() > 1) shape.push_back(matrix.channels());
    const Depth& depth = kDepths[matrix.depth()];
    std::string json = "{\"shape\":" + array(shape.size(), [&](size_t i) { return std::to_string(shape[i]); }) +
                       ",\"dtype\":" + jsonString(depth.dtype);
    const size_t values = matrix.total() * static_cast<size_t>(matrix.channels());
    if (!matrix.empty() && values <= options.pixelValues) json += ",\"pixels\":" + depth.pixels(matrix);
    return json + "}";
}

const char* markName(const MarkedFloat& value) {
    if (value.isValid()) return "Valid";
    if (value.isEmpty()) return "Empty";
    if (value.isUnderrange()) return "Underrange";
    if (value.isOverrange()) return "Overrange";
    return value.isOtherMark() ? "OtherMark" : "Invalid";
}

// Every built-in value type, in the form the header lists.
template <class T>
std::string jsonOf(const T& value, const JsonOptions& options) {
    if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, char>) {
        return jsonString(std::string(1, value));
    } else if constexpr (std::is_arithmetic_v<T>) {
        return number(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
        return jsonString(value);
    } else if constexpr (detail::IsSequence<T>::value) {
        std::string json = "[";
        for (const auto& element : value) json += (json.size() > 1 ? "," : "") + jsonOf(element, options);
        return json + "]";
    } else if constexpr (std::is_same_v<T, cv::Mat>) {
        return matrixJson(value, options);
    } else if constexpr (std::is_same_v<T, cv::Size>) {
        return object({{"width", number(value.width)}, {"height", number(value.height)}});
    } else if constexpr (std::is_same_v<T, cv::Point>) {
        return object({{"x", number(value.x)}, {"y", number(value.y)}});
    } else {
        static_assert(std::is_same_v<T, cv::Rect>, "a built-in type without JSON");
        return object({{"x", number(value.x)},
                       {"y", number(value.y)},
                       {"width", number(value.width)},
                       {"height", number(value.height)}});
    }
}

}  // namespace

std::string jsonString(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    auto escaped = [](const char* prefix, unsigned code) {
        return prefix + std::string{digits[code >> 4], digits[code & 15]};
    };
    std::string json = "\"";
    for (size_t i = 0; i < bytes.size();) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        const size_t length = utf8Length(bytes, i);
        if (length == 0) json += escaped("\\udc", byte);  // Python's surrogateescape of a stray byte
        else if (byte == '"' || byte == '\\') json += {'\\', static_cast<char>(byte)};
        else if (byte < 0x20 || byte == 0x7f) json += escaped("\\u00", byte);
        else if (byte == 0xc2 && static_cast<unsigned char>(bytes[i + 1]) < 0xa0)
            json += escaped("\\u00", static_cast<unsigned char>(bytes[i + 1]));  // a C1 control character
        else json.append(bytes, i, length);
        i += length == 0 ? 1 : length;
    }
    return json + "\"";
}

std::string jsonNumber(double value) {
    if (std::isnan(value)) return "\"nan\"";
    if (std::isinf(value)) return value > 0 ? "\"inf\"" : "\"-inf\"";
    return intern::toStringTimpl<double>(value);
}

std::string jsonNumber(float value) {
    return std::isfinite(value) ? intern::toStringTimpl<float>(value) : jsonNumber(static_cast<double>(value));
}

std::string toJson(const Variant& value, const JsonOptions& options) {
    return visitValue(value, [&](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (!std::is_same_v<T, Variant>) {
            return jsonOf(held, options);
        } else {
            if (const Storage* group = Storage::groupOf(held)) return toJson(*group, options);
            if (const MarkedFloat* marked = held.template getIf<MarkedFloat>()) return toJson(*marked);
            return jsonString(held.toString());
        }
    });
}

std::string toJson(const std::shared_ptr<Variant>& value, const JsonOptions& options) {
    return value ? toJson(*value, options) : "null";
}

std::string toJson(const Storage& storage, const JsonOptions& options) {
    std::string json = "{";
    for (const auto& [key, entry] : storage)
        json += (json.size() > 1 ? "," : "") + jsonString(key) + ":" + toJson(entry, options);
    return json + "}";
}

std::string toJson(const Frame& frame, const JsonOptions& options) {
    return object(
        {{"image", matrixJson(frame.getFrameData(), options)}, {"metadata", toJson(frame.getMetaData(), options)}});
}

std::string toJson(const MarkedFloat& record, const JsonOptions&) {
    std::ostringstream number;
    number << record.toFloat();
    const std::string digits = std::isfinite(record.toFloat()) ? number.str() : jsonNumber(record.toFloat());
    return object({{"value", digits}, {"mark", jsonString(markName(record))}});
}

std::string toJson(const Version& record, const JsonOptions&) {
    return object({{"major", number(record.getMajor())},
                   {"minor", number(record.getMinor())},
                   {"patch", number(record.getPatch())}});
}

std::string toJson(const VersionExtended& record, const JsonOptions&) {
    return object({{"major", number(record.getMajor())},
                   {"minor", number(record.getMinor())},
                   {"patch", number(record.getPatch())},
                   {"buildNumber", number(record.getBuildNumber())}});
}

std::string toJson(const MeasPoint& record, const JsonOptions& options) {
    const auto value = record.getValue();
    return object({{"x", number(record.getXPos())},
                   {"y", number(record.getYPos())},
                   {"type", value ? jsonString(value->getTypeString()) : "null"},
                   {"value", toJson(value, options)}});
}

std::string toJson(const MeasArea& record, const JsonOptions& options) {
    return object({{"x", number(record.getXPos())},
                   {"y", number(record.getYPos())},
                   {"width", number(record.getWidth())},
                   {"height", number(record.getHeight())},
                   {"coldSpot", toJson(record.getColdSpot(), options)},
                   {"hotSpot", toJson(record.getHotSpot(), options)},
                   {"text", jsonString(record.toString())}});
}

std::string toJson(const zarvo::ProbeValue& record, const JsonOptions&) {
    return object({{"value", jsonNumber(record.getValue())},
                   {"precision", number(record.getPrecision())},
                   {"status", number(record.getStatus())}});
}

std::string toJson(const zarvo::DeviceInfo& record, const JsonOptions&) {
    return object({{"deviceSerial", number(record.getDeviceSerial())},
                   {"boardSerial", number(record.getBoardSerial())},
                   {"boardType", number(record.getBoardType())},
                   {"boardIndex", number(record.getBoardIndex())},
                   {"productionDate", jsonString(record.getProductionDate())}});
}

std::string toJson(const zarvo::DeviceInfo2& record, const JsonOptions&) {
    return object({{"deviceSerial", number(record.getDeviceSerial())},
                   {"boardSerial", number(record.getBoardSerial())},
                   {"deviceType", number(record.getDeviceType())},
                   {"boardIndex", number(record.getBoardIndex())},
                   {"placementIndex", number(record.getPlacementIndex())},
                   {"productionDate", jsonString(record.getProductionDate())}});
}

std::string toJson(const zarvo::MaterialNumber& record, const JsonOptions&) {
    static const char* const types[] = {"numeric", "alphanumeric", "none", "invalid"};
    return object({{"number", jsonString(record.toString())},
                   {"type", jsonString(types[record.getType() & 3])},
                   {"hasIdent", record.hasIdent() ? "true" : "false"}});
}

std::string toJson(const zarvo::CalibrationInfo& record, const JsonOptions&) {
    return object({{"contentType", number(record.getContentType())},
                   {"certificateNumber", jsonString(record.getCertificateNumber())},
                   {"expireDate", number(record.getExpireDate())},
                   {"issueDate", number(record.getIssueDate())},
                   {"adaptionDataChecksum", number(record.getAdaptionDataChecksum())}});
}

}  // namespace zarvo::exp
