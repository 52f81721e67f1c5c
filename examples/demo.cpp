// A thermal camera's data, end to end:
//   1. the camera introduces itself: identity records and a descriptor tree of what it publishes;
//   2. its calibration is a curated chain, computed on first use, invalidated, computed again,
//      with a viewer that is told when the corrected image goes stale;
//   3. it takes a frame: pixels, nested metadata, and a measurement area read from device bytes;
//   4. the frame's metadata and the area are handed on as bytes and read back with the bounded readers.
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "zarvo/datatypes.h"

using namespace zarvo::exp;

// The application's own value type, made known to the registry by this program: with the
// record members it travels as bytes and text like any built-in type.
struct Celsius {
    float degrees = 0;

    size_t serialize(Endian endian, char* data) const { return Memory::serializeT(endian, data, degrees); }
    static Celsius deserialize(Endian endian, const char* data, size_t& size) {
        return {Memory::deserializeT<float>(endian, data, size)};
    }
    static Celsius deserialize(Endian endian, const char* data, size_t available, size_t& size) {
        return {Memory::deserializeT<float>(endian, data, available, size)};
    }
    size_t sizeofType() const { return sizeof degrees; }
    // The text forms lean on the registry's own float text: "36.75 degC".
    std::string toString() const { return Variant_<float>(degrees).toString() + " degC"; }
    static Celsius fromString(const std::string& text) {
        return {Variant::parse("float", text.substr(0, text.find(' ')))->toFloat()};
    }
    bool operator==(const Celsius& other) const { return degrees == other.degrees; }
};
ZARVO_REGISTER_METATYPE(Celsius, "celsius");

namespace {

template <class T>
std::shared_ptr<Variant> hold(T value) {
    return std::make_shared<Variant_<T>>(std::move(value));
}

// Lines of 16 bytes, each with its offset, as a hex viewer shows them.
std::string hex(const std::vector<char>& bytes) {
    std::string text;
    char digits[24];
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            std::snprintf(digits, sizeof digits, "\n  %04zx", i);
            text += digits;
        }
        std::snprintf(digits, sizeof digits, " %02x", static_cast<unsigned char>(bytes[i]));
        text += digits;
    }
    return text;
}

template <class R>
std::vector<char> bytesOf(const R& record, Endian endian) {
    std::vector<char> bytes(record.sizeofType());
    record.serialize(endian, bytes.data());
    return bytes;
}

void step(const char* title) { std::cout << "\n== " << title << "\n"; }

void introduceCamera() {
    step("1. The camera introduces itself");
    const zarvo::DeviceInfo2 identity(100042, 7001, 12, 1, 3, "2024-05-17");
    const zarvo::CalibrationInfo certificate(1, "CERT-0042", 20270101, 20260101, 0xBEEF);
    // Records and values go to a stream by their text form.
    std::cout << identity << "\n(" << identity.sizeofType() << " bytes)\n"
              << "firmware " << VersionExtended::fromString("2.4.1.1337") << ", part "
              << zarvo::MaterialNumber::fromString("1234 5678 90") << "\n"
              << certificate << "(" << certificate.sizeofType() << " bytes)\n";

    const auto exposure = DataDescriptor::makeItem("exposure", "int32");
    DataStorage<std::string> range;
    range.insert("Min", hold(10));
    range.insert("Max", hold(2000));
    exposure->setDescriptorOptions(range);
    const auto serial = DataDescriptor::makeItem("serial", "uint64");
    serial->setAccessParameters(true, false, false, true);
    const auto device = DataDescriptor::makeGroup("device", {DataDescriptor::makeGroup("camera", {exposure, serial}),
                                                             DataDescriptor::makeItem("image", "cvmat")});
    std::cout << "what it publishes:\n";
    device->print("  ");
    std::cout << DataDescriptor::getFullQualifiedItemName(exposure.get(), "", ".") << " from "
              << exposure->getParameterRange().min->toInt32() << " to " << exposure->getParameterRange().max->toInt32()
              << "\n";
}

// Slot 0: a gain table from a file, slot 1: an offset table, slot 2: the correction from both.
cv::Mat calibrate(CuratorStorage& calibration, int& loads, int& computations) {
    step("2. Calibration, computed on demand");
    calibration.addCurator<cv::Mat>(0, {2});
    calibration.addCurator<cv::Mat>(1, {2});
    calibration.addCurator<cv::Mat>(2);
    calibration.setSourceFile(0, "gain-v1.bin");
    calibration.setMatValidator(0, 2, 2, CV_32FC1);
    calibration.set(1, hold(cv::Mat(2, 2, CV_32FC1, cv::Scalar(-20.0f))));
    calibration.setGenerator(2, [&] {
        ++computations;
        return hold(cv::Mat(calibration.get(0)->value<cv::Mat>() + calibration.get(1)->value<cv::Mat>()));
    });
    const auto show = [&](const char* what) {
        std::cout << what << ": correction " << calibration.get(2)->value<cv::Mat>().at<float>(0, 0) << " (file loads "
                  << loads << ", computations " << computations << ")\n";
    };
    show("first use");
    show("second use, cached");
    // A viewer of the corrected image is told when it goes stale, after the walk is
    // over, and fetches the new one at once; the handle unsubscribes when it goes.
    const Subscription viewer = calibration.subscribe(2, [&](unsigned int id, Curator::Change change) {
        if (change != Curator::Change::Invalidated) return;
        std::cout << "viewer: curator " << id << " is stale, shows the new correction "
                  << calibration.get(id)->value<cv::Mat>().at<float>(0, 0) << "\n";
    });
    calibration.setSourceFile(0, "gain-v2.bin");
    calibration.find(0)->invalidate();  // the correction depends on the gain table: dropped too
    show("after a new gain file");
    try {
        calibration.set(0, hold(cv::Mat(3, 3, CV_32FC1)));
    } catch (const zarvo::Exception& error) { std::cout << "a 3x3 gain table is refused: " << error.message() << "\n"; }
    show("after the refusal, loaded again");
    return calibration.get(2)->value<cv::Mat>();
}

// The bytes of a measurement area as the camera sends them: numbers, two spots, a mean value.
std::vector<char> cameraAreaBytes() {
    const MeasArea area(0, 0, 2, 2, MeasPoint(0, 1, hold(21.5f)), MeasPoint(1, 0, hold(36.75f)), hold(29.0f));
    return bytesOf(area, little_endian);
}

Frame acquire(const cv::Mat& correction, MeasArea& report) {
    step("3. A frame is taken");
    Frame frame(cv::Mat(2, 2, CV_32FC1, cv::Scalar(40.0f)) + correction);
    frame.addMetaDate("camera.serial", hold(std::uint64_t(100042)));
    frame.addMetaDate("camera.firmware", hold(std::string("2.4.1.1337")));
    // The exposure comes as an operator typed it; the strict reader takes exactly one value or says why not.
    frame.addMetaDate("exposure", Variant::parse("int32", "200"));
    std::cout << frame << ", pixel(0,0) " << frame.getFrameData().at<float>(0, 0) << "\n";
    try {
        Variant::parse("int32", "2k");
    } catch (const zarvo::Exception& error) {
        std::cout << "an exposure typed as 2k is refused: " << error.message() << "\n";
    }

    const std::vector<char> device = cameraAreaBytes();
    size_t used = 0;
    const MeasArea raw = MeasArea::deserialize(little_endian, device.data(), device.size(), used);
    std::cout << "measurement area from " << used << " device bytes: " << raw << "\n";
    // The report shares the camera's mean value and gives its spots in the application's unit.
    const auto inCelsius = [](const MeasPoint& spot) {
        return MeasPoint(spot.getXPos(), spot.getYPos(), hold(Celsius{spot.getValue()->toFloat()}));
    };
    report = raw;
    report.setColdSpot(inCelsius(raw.getColdSpot()));
    report.setHotSpot(inCelsius(raw.getHotSpot()));
    std::cout << "report area: " << report << "\n";
    return frame;
}

void handOn(const Frame& frame, const MeasArea& report) {
    step("4. Handed on as bytes, read back bounded");
    const std::vector<char> areaBytes = bytesOf(report, big_endian);
    size_t used = 0;
    const MeasArea area = MeasArea::deserialize(big_endian, areaBytes.data(), areaBytes.size(), used);
    std::cout << "area, " << used << " bytes:" << hex(areaBytes) << "\n  -> " << area
              << "\n  spots equal: " << std::boolalpha
              << (area.getColdSpot() == report.getColdSpot() && area.getHotSpot() == report.getHotSpot())
              << ", area equal: " << (area == report) << " (the mean value is a new object)\n";

    // Storages with groups travel as bytes once their holder type has a name.
    registerStorageType();
    const DataStorage<std::string>& metadata = frame.getMetaData();
    const std::vector<char> metaBytes = bytesOf(metadata, no_swap);
    const DataStorage<std::string> back =
        DataStorage<std::string>::deserialize(no_swap, metaBytes.data(), metaBytes.size(), used);
    std::cout << "metadata, " << used << " bytes:" << hex(metaBytes) << "\n  -> equal: " << (back == metadata)
              << ", camera.serial " << back.get("camera.serial")->toUInt64() << "\n";

    try {
        MeasArea::deserialize(big_endian, areaBytes.data(), areaBytes.size() - 3, used);
    } catch (const zarvo::Exception& error) { std::cout << "the area cut short: " << error.message() << "\n"; }
}

}  // namespace

int main() {
    introduceCamera();
    int loads = 0, computations = 0;
    CuratorStorage calibration(3, [&loads](const std::string& file) {
        ++loads;  // stands in for reading the file
        return hold(cv::Mat(2, 2, CV_32FC1, cv::Scalar(file == "gain-v2.bin" ? 2.0f : 1.0f)));
    });
    const cv::Mat correction = calibrate(calibration, loads, computations);
    MeasArea report;
    const Frame frame = acquire(correction, report);
    handOn(frame, report);
    return 0;
}
