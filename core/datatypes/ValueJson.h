#pragma once

// Values, storages, frames and records as JSON: the one form that zarvo-inspect,
// the live monitor and Python read. Every value becomes one JSON value:
//
//   bool                 true / false
//   char                 a string of that one character
//   integers             numbers with every digit (int64 and uint64 exact)
//   float, double        the shortest text that reads back to the same value;
//                        NaN and the infinities, which JSON lacks, the strings "nan", "inf", "-inf"
//   string               a JSON string: valid UTF-8 kept, " and \ escaped, control characters
//                        (C0, DEL, C1 U+0080..U+009F) as \u00XX, and each byte that is not part
//                        of valid UTF-8 as the lone surrogate \udcXX (XX the byte). That is
//                        Python's surrogateescape: json.loads, then .encode("utf-8",
//                        "surrogateescape"), gives the bytes back.
//   vector, list         an array
//   cv::Mat              {"shape":[...],"dtype":"..."} in numpy's terms: the sizes, plus the channel
//                        count as a last axis when above 1; the empty matrix of no dimensions [0,0].
//                        dtype: uint8 int8 uint16 int16 int32 float32 float64 float16.
//                        "pixels" only when asked (JsonOptions): rows of pixels for 2 dimensions,
//                        one flat list for others; a pixel of several channels is an array.
//   cvsize, cvpoint,     {"width","height"}, {"x","y"}, {"x","y","width","height"}
//   cvrect
//   storage              an object of its keys, groups nested
//   Frame                {"image":matrix,"metadata":storage}
//   MarkedFloat          {"value":...,"mark":"Valid|Empty|Underrange|Overrange|OtherMark|Invalid"}
//   other records        an object of their fields
//   a caller's own type  the JSON string of its toString()

#include <cstddef>
#include <memory>
#include <string>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Variant.h"
#include "valuefault/Export.h"

namespace zarvo {
class CalibrationInfo;
class DeviceInfo;
class DeviceInfo2;
class MaterialNumber;
class ProbeValue;
}  // namespace zarvo

namespace zarvo::exp {

class Frame;
class MarkedFloat;
class MeasArea;
class MeasPoint;
class Version;
class VersionExtended;

/// What goes into the JSON besides the value's form.
struct JsonOptions {
    /// A matrix's pixels are written when it holds at most this many values (pixels
    /// times channels); 0 never writes them.
    size_t pixelValues = 0;
};

/// The value in the form its type has above.
ZARVO_EXPORT std::string toJson(const Variant& value, const JsonOptions& options = {});
/// The held value; null for no value.
ZARVO_EXPORT std::string toJson(const std::shared_ptr<Variant>& value, const JsonOptions& options = {});
/// An object of the storage's keys, groups as nested objects.
ZARVO_EXPORT std::string toJson(const DataStorage<std::string>& storage, const JsonOptions& options = {});
/// {"image":matrix,"metadata":storage}.
ZARVO_EXPORT std::string toJson(const Frame& frame, const JsonOptions& options = {});

/// The value as the text form prints it (six digits: more would show the mark bits) and the mark's name.
ZARVO_EXPORT std::string toJson(const MarkedFloat& record, const JsonOptions& options = {});
/// major, minor, patch.
ZARVO_EXPORT std::string toJson(const Version& record, const JsonOptions& options = {});
/// major, minor, patch, buildNumber.
ZARVO_EXPORT std::string toJson(const VersionExtended& record, const JsonOptions& options = {});
/// x, y, the value's registered name ("type") and the value.
ZARVO_EXPORT std::string toJson(const MeasPoint& record, const JsonOptions& options = {});
/// The rectangle, both spots, and the whole text (the mean value has no other way out).
ZARVO_EXPORT std::string toJson(const MeasArea& record, const JsonOptions& options = {});
/// value, precision, status.
ZARVO_EXPORT std::string toJson(const zarvo::ProbeValue& record, const JsonOptions& options = {});
/// deviceSerial, boardSerial, boardType, boardIndex, productionDate.
ZARVO_EXPORT std::string toJson(const zarvo::DeviceInfo& record, const JsonOptions& options = {});
/// deviceSerial, boardSerial, deviceType, boardIndex, placementIndex, productionDate.
ZARVO_EXPORT std::string toJson(const zarvo::DeviceInfo2& record, const JsonOptions& options = {});
/// The number's text, its type (numeric, alphanumeric, none, invalid), hasIdent.
ZARVO_EXPORT std::string toJson(const zarvo::MaterialNumber& record, const JsonOptions& options = {});
/// contentType, certificateNumber, expireDate, issueDate, adaptionDataChecksum.
ZARVO_EXPORT std::string toJson(const zarvo::CalibrationInfo& record, const JsonOptions& options = {});

/// bytes as a JSON string, escaped as strings are above.
ZARVO_EXPORT std::string jsonString(const std::string& bytes);
/// The shortest text that reads back to the same double; "nan", "inf", "-inf" as strings.
ZARVO_EXPORT std::string jsonNumber(double value);
/// The shortest text that reads back to the same float; "nan", "inf", "-inf" as strings.
ZARVO_EXPORT std::string jsonNumber(float value);

}  // namespace zarvo::exp
