#include <pybind11/operators.h>
#include <pybind11/stl.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "python/Bindings.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Endian;
using exp::MarkedFloat;
using exp::MeasArea;
using exp::MeasPoint;
using exp::Version;
using exp::VersionExtended;

namespace {

template <class R, class = void>
struct HasEquality : std::false_type {};
template <class R>
struct HasEquality<R, std::void_t<decltype(std::declval<const R&>() == std::declval<const R&>())>> : std::true_type {};

template <class R>
py::bytes bytesOf(const R& record, Endian endian) {
    return writtenBytes(record.sizeofType(), [&](char* data) { record.serialize(endian, data); });
}

// How a C++ argument or field crosses to Python: text with surrogate escapes, numbers
// range-checked as Variant checks them (OverflowError), the rest as pybind11 does it.
template <class A, class = void>
struct Passed {
    using type = A;
    static A value(A argument) { return argument; }
};
template <>
struct Passed<std::string> {
    using type = Text;
    static std::string value(const Text& argument) { return argument.bytes; }
};
template <class A>
struct Passed<A, std::enable_if_t<std::is_arithmetic_v<A> && !std::is_same_v<A, bool>>> {
    using type = Number<A>;
    static A value(Number<A> argument) { return argument.value; }
};

// R read from its text form, which may hold surrogate escapes.
template <class R>
R fromText(const Text& text) {
    return R::fromString(text.bytes);
}

// A constructor of R from arguments of the types A, each passed as above.
template <class R, class... A>
auto checkedInit() {
    return py::init([](typename Passed<A>::type... arguments) { return R(Passed<A>::value(arguments)...); });
}

// What every record has: the byte form both ways (the bounded reader), str() as the
// text form, a repr that never fails, pickling and copying through the byte form,
// == (the record's own, or equal byte forms for a record without one).
template <class R>
py::class_<R> recordClass(py::module_& module, const char* name, const char* doc) {
    py::class_<R> record(module, name, doc);
    record.def("serialize", &bytesOf<R>, "endian"_a, "The byte form in the given byte order, as bytes.")
        .def_static("deserialize", &readBounded<R>, "data"_a, "endian"_a,
                    "Reads one record from any bytes-like object, never past its end; returns (record, bytes used). "
                    "Bytes that end early raise Error.")
        .def(
            "__str__", [](const R& value) { return Text{value.toString()}; }, "The text form.")
        .def("__repr__",
             [name](const R& value) {
                 try {
                     return shownText(std::string("<") + name + " " + value.toString() + ">");
                 } catch (const Exception& error) {  // a record not filled in yet says what it lacks
                     return shownText(std::string("<") + name + " (no text form: " + error.message() + ")>");
                 }
             })
        .def(
            py::pickle([](const R& value) { return bytesOf(value, exp::no_swap); },
                       [](const py::bytes& data) { return readBounded<R>(data, exp::no_swap)[0].template cast<R>(); }));
    if constexpr (HasEquality<R>::value) {
        record.def(
            "__eq__", [](const R& left, const R& right) { return left == right; }, py::is_operator(),
            "Every field equal.");
    } else {
        record.def(
            "__eq__",
            [](const R& left, const R& right) {
                return std::string(bytesOf(left, exp::no_swap)) == std::string(bytesOf(right, exp::no_swap));
            },
            py::is_operator(), "Equal byte forms.");
    }
    record.attr("__hash__") = py::none();
    return record;
}

// A read-write property from a getter and a setter of the record, passed as above.
template <class R, class V, class A>
void field(py::class_<R>& record, const char* name, V (R::*get)() const, void (R::*set)(A), const char* doc) {
    using Value = std::decay_t<A>;
    using Pass = Passed<Value>;
    record.def_property(
        name, [get](const R& value) { return typename Pass::type{(value.*get)()}; },
        [set](R& value, const typename Pass::type& given) { (value.*set)(Pass::value(given)); }, doc);
}

void bindMarkedFloat(py::module_& module) {
    auto marked = recordClass<MarkedFloat>(
        module, "MarkedFloat",
        "A measured float carrying its validity mark in its three lowest mantissa bits: one 32-bit word. "
        "Arithmetic runs on the floats and marks the result: a marked left operand passes its mark on, two marks "
        "are ORed (under | over = invalid), a right operand's mark is mirrored for - and /. == and the other "
        "comparisons ignore the marks, so an empty value is not equal to itself.");
    py::enum_<MarkedFloat::MarkedFloatValidity>(marked, "Validity", "The mark a new value gets.")
        .value("Valid", MarkedFloat::Valid)
        .value("OtherMark", MarkedFloat::OtherMark)
        .value("Underrange", MarkedFloat::Underrange)
        .value("Legacy", MarkedFloat::Legacy)
        .value("Overrange", MarkedFloat::Overrange)
        .value("Invalid", MarkedFloat::Invalid);
    marked.def(py::init<>(), "The empty value (a NaN marked invalid).")
        .def(py::init<float, MarkedFloat::MarkedFloatValidity>(), "value"_a, "validity"_a = MarkedFloat::Valid,
             "value with a mark; Legacy reads value as a legacy code.")
        .def_static("from_string", &fromText<MarkedFloat>, "text"_a,
                    "A valid value of the leading number of text; labels behind it are ignored.")
        .def_property_readonly("value", &MarkedFloat::toFloat, "The word as a float, mark bits included.")
        .def("__float__", &MarkedFloat::toFloat)
        .def_property_readonly("is_valid", &MarkedFloat::isValid, "No mark.")
        .def_property_readonly("is_empty", &MarkedFloat::isEmpty, "The empty value: a NaN marked invalid.")
        .def_property_readonly("is_underrange", &MarkedFloat::isUnderrange, "Marked underrange.")
        .def_property_readonly("is_overrange", &MarkedFloat::isOverrange, "Marked overrange.")
        .def_property_readonly("is_other_mark", &MarkedFloat::isOtherMark, "Marked other mark.")
        .def("set_valid", &MarkedFloat::setValid, "Clears the marked bit only.")
        .def("set_other_mark", &MarkedFloat::setOtherMark, "Marks other mark.")
        .def("set_underrange", &MarkedFloat::setUnderrange, "Marks underrange.")
        .def("set_overrange", &MarkedFloat::setOverrange, "Marks overrange.")
        .def("set_invalid", &MarkedFloat::setInvalid, "Marks invalid.")
        .def("set_empty", &MarkedFloat::setEmpty, "Becomes the empty value.")
        .def("to_clipped_float", &MarkedFloat::toClippedFloat, "underrange"_a, "overrange"_a, "invalid"_a,
             "The value, or the stand-in for its mark.")
        .def("to_legacy", &MarkedFloat::toLegacy, "The legacy float: the value, or the code of its mark.")
        .def_static(
            "from_legacy",
            [](float legacy) {
                MarkedFloat value;
                value.fromLegacy(legacy);
                return value;
            },
            "legacy"_a, "The value a legacy float stands for.")
        .def("check_range", &MarkedFloat::checkRange, "minimum"_a, "maximum"_a,
             "Marks the value underrange below minimum, overrange above maximum; True if it was neither. "
             "ValueError when minimum > maximum.")
        .def(
            "apply",
            [](const MarkedFloat& value, const py::function& f) {
                return value.apply([&](float x) { return f(x).cast<float>(); });
            },
            "function"_a, "function of the float, carrying this value's mark (e.g. math.sqrt).")
        .def(py::self + py::self)
        .def(py::self + float())
        .def(py::self - py::self)
        .def(py::self - float())
        .def(py::self * py::self)
        .def(py::self * float())
        .def(py::self / py::self)
        .def(py::self / float())
        .def(-py::self)
        .def(py::self == float())
        .def(py::self != py::self)
        .def(py::self != float())
        .def(py::self < py::self)
        .def(py::self < float())
        .def(py::self <= py::self)
        .def(py::self <= float())
        .def(py::self > py::self)
        .def(py::self > float())
        .def(py::self >= py::self)
        .def(py::self >= float());
}

// What both version records have: reading from text, ordering, major, minor and patch.
template <class V>
py::class_<V> versionClass(py::module_& module, const char* name, const char* doc, const char* textDoc) {
    auto version = recordClass<V>(module, name, doc);
    version.def_static("from_string", &fromText<V>, "text"_a, textDoc)
        .def(py::self < py::self)
        .def(py::self <= py::self)
        .def(py::self > py::self)
        .def(py::self >= py::self);
    field(version, "major", &V::getMajor, &V::setMajor, "The major number.");
    field(version, "minor", &V::getMinor, &V::setMinor, "The minor number.");
    field(version, "patch", &V::getPatch, &V::setPatch, "The patch number.");
    return version;
}

void bindVersions(py::module_& module) {
    auto version =
        versionClass<Version>(module, "Version", "major.minor.patch; 12-byte form.", "Reads 'major.minor.patch'.");
    version.def(checkedInit<Version, unsigned, unsigned, unsigned>(), "major"_a = 0, "minor"_a = 0, "patch"_a = 0,
                "The version major.minor.patch; each number from 0 to 4294967295.");

    auto extended = versionClass<VersionExtended>(module, "VersionExtended", "major.minor.patch.build; 16-byte form.",
                                                  "Reads 'major.minor.patch.build'.");
    extended.def(checkedInit<VersionExtended, unsigned, unsigned, unsigned, unsigned>(), "major"_a = 0, "minor"_a = 0,
                 "patch"_a = 0, "build_number"_a = 0,
                 "The version major.minor.patch.build_number; each number from 0 to 4294967295.");
    field(extended, "build_number", &VersionExtended::getBuildNumber, &VersionExtended::setBuildNumber,
          "The build number.");
}

// The area's mean value, or None: its one public form is the tail of the byte form
// (name, then value), so it is read from there.
py::object meanValueOf(const MeasArea& area) {
    if (area.getMeanValue() == nullptr) return py::none();
    std::string data(area.sizeofType(), '\0');
    area.serialize(exp::no_swap, data.data());
    const size_t spots = 8 + area.getColdSpot().sizeofType() + area.getHotSpot().sizeofType();
    exp::Memory::Cursor in(exp::no_swap, data.data() + spots, data.size() - spots);
    const auto name = exp::Memory::readValue<std::string>(in);
    return py::cast(exp::Variant::deserialize(name, in));
}

void bindMeasRecords(py::module_& module) {
    auto point = recordClass<MeasPoint>(module, "MeasPoint", "A measured value (a Variant) at a 16-bit x/y position.");
    point.def(py::init<>(), "Position 0, no value.")
        .def(checkedInit<MeasPoint, unsigned short, unsigned short, std::shared_ptr<exp::Variant>>(), "x"_a, "y"_a,
             "value"_a, "value (a Variant, held as given) at x, y, each from 0 to 65535.");
    field(point, "x", &MeasPoint::getXPos, &MeasPoint::setXPos, "The x position.");
    field(point, "y", &MeasPoint::getYPos, &MeasPoint::setYPos, "The y position.");
    field(point, "value", &MeasPoint::getValue, &MeasPoint::setValue, "The measured value, a Variant (shared).");

    auto area = recordClass<MeasArea>(module, "MeasArea",
                                      "A rectangle with a cold and a hot spot and a mean value (a Variant); "
                                      "without a mean value serialize and str raise Error.");
    area.def(py::init<>(), "Position and size 0, empty spots.")
        .def(checkedInit<MeasArea, unsigned short, unsigned short, unsigned short, unsigned short>(), "x"_a, "y"_a,
             "width"_a, "height"_a, "The rectangle, each number from 0 to 65535; empty spots, no mean value.")
        .def(checkedInit<MeasArea, unsigned short, unsigned short, unsigned short, unsigned short, MeasPoint, MeasPoint,
                         std::shared_ptr<exp::Variant>>(),
             "x"_a, "y"_a, "width"_a, "height"_a, "cold_spot"_a, "hot_spot"_a, "mean_value"_a,
             "A whole area, ready to be written: the spots and the mean value are held as given (shared).");
    field(area, "x", &MeasArea::getXPos, &MeasArea::setXPos, "The x position.");
    field(area, "y", &MeasArea::getYPos, &MeasArea::setYPos, "The y position.");
    field(area, "width", &MeasArea::getWidth, &MeasArea::setWidth, "The width.");
    field(area, "height", &MeasArea::getHeight, &MeasArea::setHeight, "The height.");
    field(area, "cold_spot", &MeasArea::getColdSpot, &MeasArea::setColdSpot, "The cold spot, a MeasPoint (a copy).");
    field(area, "hot_spot", &MeasArea::getHotSpot, &MeasArea::setHotSpot, "The hot spot, a MeasPoint (a copy).");
    area.def_property(
        "mean_value", &meanValueOf,
        [](MeasArea& area, std::shared_ptr<exp::Variant> value) {
            area = MeasArea(area.getXPos(), area.getYPos(), area.getWidth(), area.getHeight(), area.getColdSpot(),
                            area.getHotSpot(), std::move(value));
        },
        "The mean value: a Variant read back from the area's byte form (a copy), None when there "
        "is none. Setting holds the Variant given (shared).");

    auto probe = recordClass<ProbeValue>(module, "ProbeValue", "A probe reading: value, precision, status; 6 bytes.");
    probe.def(checkedInit<ProbeValue, float, signed char, unsigned char>(), "value"_a = 0.0f, "precision"_a = 0,
              "status"_a = 0, "A reading with its precision (-128 to 127) and status (0 to 255).");
    field(probe, "value", &ProbeValue::getValue, &ProbeValue::setValue, "The reading.");
    field(probe, "precision", &ProbeValue::getPrecision, &ProbeValue::setPrecision, "The precision, -128 to 127.");
    field(probe, "status", &ProbeValue::getStatus, &ProbeValue::setStatus, "The status code, 0 to 255.");
}

void bindIdentityRecords(py::module_& module) {
    auto device = recordClass<DeviceInfo>(module, "DeviceInfo", "Identity of a device and one of its boards.");
    device.def(checkedInit<DeviceInfo, std::uint64_t, std::uint64_t, unsigned, unsigned short, std::string>(),
               "device_serial"_a = 0, "board_serial"_a = 0, "board_type"_a = 0, "board_index"_a = 0,
               "production_date"_a = "",
               "The serials (64 bits each), board type (32 bits), board index (16 bits) and production date text.");
    field(device, "device_serial", &DeviceInfo::getDeviceSerial, &DeviceInfo::setDeviceSerial, "Device serial.");
    field(device, "board_serial", &DeviceInfo::getBoardSerial, &DeviceInfo::setBoardSerial, "Board serial.");
    field(device, "board_type", &DeviceInfo::getBoardType, &DeviceInfo::setBoardType, "Board type.");
    field(device, "board_index", &DeviceInfo::getBoardIndex, &DeviceInfo::setBoardIndex, "Board index.");
    field(device, "production_date", &DeviceInfo::getProductionDate, &DeviceInfo::setProductionDate,
          "Production date text.");

    auto device2 = recordClass<DeviceInfo2>(module, "DeviceInfo2",
                                            "Identity of a device and one of its boards, with the placement.");
    device2.def(
        checkedInit<DeviceInfo2, std::uint64_t, std::uint64_t, unsigned, unsigned char, unsigned char, std::string>(),
        "device_serial"_a = 0, "board_serial"_a = 0, "device_type"_a = 0, "board_index"_a = 0, "placement_index"_a = 0,
        "production_date"_a = "",
        "The serials (64 bits each), device type (32 bits), board and placement index (0 to 255 each) "
        "and production date text.");
    field(device2, "device_serial", &DeviceInfo2::getDeviceSerial, &DeviceInfo2::setDeviceSerial, "Device serial.");
    field(device2, "board_serial", &DeviceInfo2::getBoardSerial, &DeviceInfo2::setBoardSerial, "Board serial.");
    field(device2, "device_type", &DeviceInfo2::getDeviceType, &DeviceInfo2::setDeviceType, "Device type.");
    field(device2, "board_index", &DeviceInfo2::getBoardIndex, &DeviceInfo2::setBoardIndex, "Board index.");
    field(device2, "placement_index", &DeviceInfo2::getPlacementIndex, &DeviceInfo2::setPlacementIndex,
          "Placement index.");
    field(device2, "production_date", &DeviceInfo2::getProductionDate, &DeviceInfo2::setProductionDate,
          "Production date text.");

    auto material = recordClass<MaterialNumber>(
        module, "MaterialNumber",
        "A catalogue number 'XXXX XXXX' or 'XXXX XXXX XX'. Bad input raises ValueError, a number too large "
        "OverflowError, an unsupported type RuntimeError.");
    py::enum_<MaterialNumber::NumberType>(material, "NumberType", "The kind of number.")
        .value("numeric", MaterialNumber::numeric)
        .value("alphanumeric", MaterialNumber::alphanumeric)
        .value("none", MaterialNumber::none)
        .value("invalid", MaterialNumber::invalid);
    material.def(py::init<>(), "Type none, empty text.")
        .def(checkedInit<MaterialNumber, std::string, MaterialNumber::NumberType>(), "text"_a,
             "type"_a = MaterialNumber::numeric, "Checks and keeps the text.")
        .def(checkedInit<MaterialNumber, std::uint64_t, MaterialNumber::NumberType>(), "number"_a,
             "type"_a = MaterialNumber::numeric, "The canonical text of 4 to 10 digits.")
        .def_static("from_string", &fromText<MaterialNumber>, "text"_a, "The text constructor, numeric.")
        .def_property_readonly("type", &MaterialNumber::getType, "The kind of number.")
        .def_property_readonly("has_ident", &MaterialNumber::hasIdent, "Whether the ident group is there.")
        .def("to_integer", &MaterialNumber::toInteger, "cut"_a = false,
             "The digits as an int, without the ident if cut.")
        .def(
            "to_string", [](const MaterialNumber& number, bool cut) { return Text{number.toString(cut)}; },
            "cut"_a = false, "The text, without the ident if cut.");

    auto calibration = recordClass<CalibrationInfo>(module, "CalibrationInfo", "One calibration record; 32-byte form.");
    calibration
        .def(checkedInit<CalibrationInfo, unsigned char, std::string, std::int64_t, std::int64_t, unsigned short>(),
             "content_type"_a = 0, "certificate_number"_a = "", "expire_date"_a = 0, "issue_date"_a = 0,
             "checksum"_a = 0,
             "A record: content type (0 to 255), certificate number (17 bytes are kept), expire and issue "
             "dates (32 bits are kept), checksum (0 to 65535).")
        .def_static(
            "from_buffer",
            [](py::handle data) {
                const ByteInput input(data);
                return CalibrationInfo::getCalibrationInfoFromBuffer(
                    std::vector<char>(input.data(), input.data() + input.size()));
            },
            "data"_a, "The records of a buffer of 32-byte records in host order; a shorter rest is ignored.")
        .def_static(
            "to_buffer",
            [](const std::vector<CalibrationInfo>& records) {
                const std::vector<char> buffer = CalibrationInfo::setCalibrationInfoToBuffer(records);
                return py::bytes(buffer.data(), buffer.size());
            },
            "records"_a, "The records one behind the other in host order, as bytes.");
    field(calibration, "content_type", &CalibrationInfo::getContentType, &CalibrationInfo::setContentType,
          "What the calibration covers.");
    field(calibration, "certificate_number", &CalibrationInfo::getCertificateNumber,
          &CalibrationInfo::setCertificateNumber, "The certificate number (17 bytes of it are stored).");
    field(calibration, "expire_date", &CalibrationInfo::getExpireDate, &CalibrationInfo::setExpireDate,
          "The expire date, 32 bits.");
    field(calibration, "issue_date", &CalibrationInfo::getIssueDate, &CalibrationInfo::setIssueDate,
          "The issue date, 32 bits.");
    field(calibration, "checksum", &CalibrationInfo::getAdaptionDataChecksum, &CalibrationInfo::setAdaptionDataChecksum,
          "The checksum of the adaption data.");
}

}  // namespace

void bindRecords(py::module_& module) {
    bindMarkedFloat(module);
    bindVersions(module);
    bindMeasRecords(module);
    bindIdentityRecords(module);
}

}  // namespace zarvo::python
