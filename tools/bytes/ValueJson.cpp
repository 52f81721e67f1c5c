#include "tools/bytes/ValueJson.h"

#include <cmath>
#include <initializer_list>
#include <sstream>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"

namespace inspect {
namespace {

using namespace zarvo::exp;
using Storage = DataStorage<std::string>;

// An object of members whose values are JSON already.
std::string object(std::initializer_list<std::pair<const char*, std::string>> members) {
    std::string json = "{";
    for (const auto& [name, value] : members) json += (json.size() > 1 ? "," : "") + jsonString(name) + ":" + value;
    return json + "}";
}

template <class Range, class Element>
std::string array(const Range& items, Element element) {
    std::string json = "[";
    for (const auto& item : items) json += (json.size() > 1 ? "," : "") + element(item);
    return json + "]";
}

// The length of the UTF-8 sequence that starts at text[i], or 0 if none does.
size_t utf8Length(const std::string& text, size_t i) {
    const auto at = [&](size_t k) { return i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0u; };
    const unsigned lead = at(0);
    size_t length = 0;
    unsigned low = 0x80, high = 0xbf;  // the range of the second byte: no overlong form, no surrogate
    if (lead >= 0xc2 && lead <= 0xdf) {
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

// Row by row for a 2-dimensional matrix, else one flat list; a pixel is a number,
// or an array of its channels.
std::string pixelsJson(const cv::Mat& matrix) {
    cv::Mat values;
    matrix.convertTo(values, CV_64F);
    if (!values.isContinuous()) values = values.clone();
    const size_t channels = static_cast<size_t>(values.channels());
    const auto* data = reinterpret_cast<const double*>(values.data);
    // Single-precision pixels print as floats: their double would show digits they never had.
    const bool singles = matrix.depth() == CV_32F || matrix.depth() == CV_16F;
    auto number = [singles](double value) { return singles ? jsonNumber(static_cast<float>(value)) : jsonNumber(value); };
    auto pixel = [&](size_t index) {
        if (channels == 1) return number(data[index]);
        const std::vector<double> each(data + index * channels, data + (index + 1) * channels);
        return array(each, number);
    };
    const size_t total = values.total();
    if (values.dims != 2) {
        std::vector<size_t> indices(total);
        for (size_t i = 0; i < total; ++i) indices[i] = i;
        return array(indices, pixel);
    }
    std::vector<size_t> rows(static_cast<size_t>(values.rows));
    for (size_t r = 0; r < rows.size(); ++r) rows[r] = r * static_cast<size_t>(values.cols);
    return array(rows, [&](size_t start) {
        std::string row = "[";
        for (size_t i = start; i < start + static_cast<size_t>(values.cols); ++i)
            row += (i == start ? "" : ",") + pixel(i);
        return row + "]";
    });
}

std::string matrixJson(const cv::Mat& matrix) {
    const std::vector<int> sizes(matrix.size.p, matrix.size.p + matrix.dims);
    std::string json = "{\"dims\":" + std::to_string(matrix.dims) +
                       ",\"sizes\":" + array(sizes, [](int size) { return std::to_string(size); }) +
                       ",\"type\":" + jsonString(cv::typeToString(matrix.type())) + ",\"channels\":" +
                       array(channelStats(matrix), [](const ChannelStats& c) {
                           return object({{"min", jsonNumber(c.min)}, {"max", jsonNumber(c.max)},
                                          {"mean", jsonNumber(c.mean)}});
                       });
    if (!matrix.empty() && matrix.total() * static_cast<size_t>(matrix.channels()) <= kJsonPixelValues)
        json += ",\"pixels\":" + pixelsJson(matrix);
    return json + "}";
}

const char* markName(const MarkedFloat& value) {
    if (value.isValid()) return "Valid";
    if (value.isEmpty()) return "Empty";
    if (value.isUnderrange()) return "Underrange";
    if (value.isOverrange()) return "Overrange";
    return value.isOtherMark() ? "OtherMark" : "Invalid";
}

// Every value type the registry of the library holds, and the storage.
template <class T>
std::string jsonOf(const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, char>) {
        return jsonString(std::string(1, value));
    } else if constexpr (std::is_integral_v<T>) {
        return std::to_string(+value);
    } else if constexpr (std::is_floating_point_v<T>) {
        return jsonNumber(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
        return jsonString(value);
    } else if constexpr (detail::IsSequence<T>::value) {
        return array(value, [](const auto& element) { return jsonOf(element); });
    } else if constexpr (std::is_same_v<T, cv::Mat>) {
        return matrixJson(value);
    } else if constexpr (std::is_same_v<T, cv::Size>) {
        return object({{"width", jsonOf(value.width)}, {"height", jsonOf(value.height)}});
    } else if constexpr (std::is_same_v<T, cv::Point>) {
        return object({{"x", jsonOf(value.x)}, {"y", jsonOf(value.y)}});
    } else if constexpr (std::is_same_v<T, cv::Rect>) {
        return object({{"x", jsonOf(value.x)}, {"y", jsonOf(value.y)}, {"width", jsonOf(value.width)},
                       {"height", jsonOf(value.height)}});
    } else if constexpr (std::is_same_v<T, MarkedFloat>) {
        // The number as the text form gives it: six digits hide the mark bits.
        std::ostringstream number;
        number << value.toFloat();
        const std::string digits = std::isfinite(value.toFloat()) ? number.str() : jsonNumber(value.toFloat());
        return object({{"value", digits}, {"mark", jsonString(markName(value))}});
    } else {
        static_assert(std::is_same_v<T, Storage>, "a value type without JSON");
        std::string json = "{";
        for (const auto& [key, entry] : value)
            json += (json.size() > 1 ? "," : "") + jsonString(key) + ":" + valueJson(entry);
        return json + "}";
    }
}

std::string pointJson(const MeasPoint& point) {
    const auto value = point.getValue();
    return object({{"x", jsonOf(point.getXPos())}, {"y", jsonOf(point.getYPos())},
                   {"type", value ? jsonString(value->getTypeString()) : "null"}, {"value", valueJson(value)}});
}

}  // namespace

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

std::string jsonString(const std::string& text) {
    static const char digits[] = "0123456789abcdef";
    auto escaped = [](unsigned code) { return std::string{'\\', 'u', '0', '0', digits[code >> 4], digits[code & 15]}; };
    std::string json = "\"";
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const size_t length = byte < 0x80 ? 1 : utf8Length(text, i);
        if (byte == '"' || byte == '\\') json += {'\\', static_cast<char>(byte)};
        else if (byte < 0x20 || byte == 0x7f) json += escaped(byte);
        else if (length == 0) json += escaped(byte);
        else if (byte == 0xc2 && static_cast<unsigned char>(text[i + 1]) < 0xa0)
            json += escaped(static_cast<unsigned char>(text[i + 1]));  // a C1 control character
        else json.append(text, i, length);
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

std::string valueJson(const std::shared_ptr<Variant>& value) {
    if (!value) return "null";
    return visitValue(*value, [](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (!std::is_same_v<T, Variant>) {
            return jsonOf(held);
        } else {
            if (const Storage* group = Storage::groupOf(held)) return jsonOf(*group);
            return jsonString(held.toString());
        }
    });
}

std::string recordJson(const MarkedFloat& record) { return jsonOf(record); }

std::string recordJson(const Version& record) {
    return object({{"major", jsonOf(record.getMajor())}, {"minor", jsonOf(record.getMinor())},
                   {"patch", jsonOf(record.getPatch())}});
}

std::string recordJson(const VersionExtended& record) {
    return object({{"major", jsonOf(record.getMajor())}, {"minor", jsonOf(record.getMinor())},
                   {"patch", jsonOf(record.getPatch())}, {"buildNumber", jsonOf(record.getBuildNumber())}});
}

std::string recordJson(const MeasPoint& record) { return pointJson(record); }

std::string recordJson(const MeasArea& record) {
    return object({{"x", jsonOf(record.getXPos())}, {"y", jsonOf(record.getYPos())},
                   {"width", jsonOf(record.getWidth())}, {"height", jsonOf(record.getHeight())},
                   {"coldSpot", pointJson(record.getColdSpot())}, {"hotSpot", pointJson(record.getHotSpot())},
                   {"text", jsonString(record.toString())}});
}

std::string recordJson(const zarvo::ProbeValue& record) {
    return object({{"value", jsonNumber(record.getValue())}, {"precision", jsonOf(record.getPrecision())},
                   {"status", jsonOf(record.getStatus())}});
}

std::string recordJson(const zarvo::DeviceInfo& record) {
    return object({{"deviceSerial", jsonOf(record.getDeviceSerial())}, {"boardSerial", jsonOf(record.getBoardSerial())},
                   {"boardType", jsonOf(record.getBoardType())}, {"boardIndex", jsonOf(record.getBoardIndex())},
                   {"productionDate", jsonString(record.getProductionDate())}});
}

std::string recordJson(const zarvo::DeviceInfo2& record) {
    return object({{"deviceSerial", jsonOf(record.getDeviceSerial())}, {"boardSerial", jsonOf(record.getBoardSerial())},
                   {"deviceType", jsonOf(record.getDeviceType())}, {"boardIndex", jsonOf(record.getBoardIndex())},
                   {"placementIndex", jsonOf(record.getPlacementIndex())},
                   {"productionDate", jsonString(record.getProductionDate())}});
}

std::string recordJson(const zarvo::MaterialNumber& record) {
    static const char* const types[] = {"numeric", "alphanumeric", "none", "invalid"};
    return object({{"number", jsonString(record.toString())}, {"type", jsonString(types[record.getType() & 3])},
                   {"hasIdent", jsonOf(record.hasIdent())}});
}

std::string recordJson(const zarvo::CalibrationInfo& record) {
    return object({{"contentType", jsonOf(record.getContentType())},
                   {"certificateNumber", jsonString(record.getCertificateNumber())},
                   {"expireDate", jsonOf(record.getExpireDate())}, {"issueDate", jsonOf(record.getIssueDate())},
                   {"adaptionDataChecksum", jsonOf(record.getAdaptionDataChecksum())}});
}

}  // namespace inspect
