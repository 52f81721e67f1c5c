#pragma once

// The JSON of what zarvo-inspect reads (read --json): every registered value, the
// storage as nested objects, a matrix as its header, the statistics of its channels
// and, when small, its pixels, and each record as an object of its fields.

#include <memory>
#include <string>
#include <vector>

#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/Variant.h"

namespace zarvo {
class CalibrationInfo;
class DeviceInfo;
class DeviceInfo2;
class MaterialNumber;
class ProbeValue;
}  // namespace zarvo
namespace zarvo::exp {
class MeasArea;
class MeasPoint;
class Version;
class VersionExtended;
}  // namespace zarvo::exp

namespace inspect {

/// A matrix's pixels go into its JSON up to this many values (pixels times channels).
constexpr size_t kJsonPixelValues = 1024;

/// The minimum, maximum and mean of one channel of a matrix.
struct ChannelStats {
    double min;
    double max;
    double mean;
};

/// The statistics of each channel of a matrix; none for an empty one.
std::vector<ChannelStats> channelStats(const cv::Mat& matrix);

/// text as a JSON string: quoted, every control character and every byte that is not
/// part of valid UTF-8 escaped (the latter as the code point of its value).
std::string jsonString(const std::string& text);
/// A number in the shortest text that reads back to the same double; NaN and the
/// infinities as the strings "nan", "inf", "-inf", which JSON lacks.
std::string jsonNumber(double value);
/// The same for a float, in the shortest text that reads back to the same float.
std::string jsonNumber(float value);

/// A value read through the registry; null for no value. A type the inspector does
/// not know gives the string of its text form.
std::string valueJson(const std::shared_ptr<zarvo::exp::Variant>& value);

/// The value and the name of its mark: {"value":1.5,"mark":"Overrange"}.
std::string recordJson(const zarvo::exp::MarkedFloat& record);
/// major, minor, patch.
std::string recordJson(const zarvo::exp::Version& record);
/// major, minor, patch, buildNumber.
std::string recordJson(const zarvo::exp::VersionExtended& record);
/// x, y, the value's type name and the value.
std::string recordJson(const zarvo::exp::MeasPoint& record);
/// The rectangle, both spots, and the whole text (the mean value has no other way out).
std::string recordJson(const zarvo::exp::MeasArea& record);
/// value, precision, status.
std::string recordJson(const zarvo::ProbeValue& record);
/// The serials, board type and index, production date.
std::string recordJson(const zarvo::DeviceInfo& record);
/// The serials, device type, board and placement index, production date.
std::string recordJson(const zarvo::DeviceInfo2& record);
/// The number's text, its type, whether it has an ident.
std::string recordJson(const zarvo::MaterialNumber& record);
/// Every field.
std::string recordJson(const zarvo::CalibrationInfo& record);

}  // namespace inspect
