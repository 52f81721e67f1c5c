// A value's road: text -> typed holder -> bytes in both byte orders -> back through the registry.
#include <cstdio>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

std::string hex(const char* bytes, size_t size) {
    std::string text;
    char digits[4];
    for (size_t i = 0; i < size; ++i) {
        std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned char>(bytes[i]));
        text += digits;
    }
    return text;
}

void roundTrip(const std::string& typeName, const std::string& text) {
    const std::shared_ptr<Variant> value = Variant::fromString(typeName, text);
    std::cout << typeName << " from \"" << text << "\": type " << value->getTypeString() << ", text "
              << value->toString();
    if (value->isArithmetic()) std::cout << ", toInt32 " << value->toInt32() << ", toDouble " << value->toDouble();
    std::cout << "\n";
    for (Endian endian : {no_swap, swap}) {
        size_t size = 0;
        const std::shared_ptr<char> bytes = value->serialize(endian, size);
        size_t used = 0;
        const std::shared_ptr<Variant> back = Variant::deserialize(value->getTypeString(), endian, bytes.get(), used);
        std::cout << "  " << (endian == swap ? "swap   " : "no_swap") << " bytes " << hex(bytes.get(), size)
                  << "-> " << back->toString() << " (" << used << " bytes read, equal: " << std::boolalpha
                  << back->equal_imp(value) << ")\n";
    }
}

// An image held in a variant shares its pixels; its byte form copies them once,
// and the matrix read back has a buffer of its own.
void imageRoundTrip() {
    cv::Mat image(2, 3, CV_8UC1);
    for (int i = 0; i < 6; ++i) image.data[i] = static_cast<uchar>(i * 40);
    const auto held = std::make_shared<Variant_<cv::Mat>>(image);
    size_t size = 0;
    const std::shared_ptr<char> bytes = held->serialize(no_swap, size);
    const cv::Mat back = Variant::deserialize("cvmat", no_swap, bytes.get(), size)->value<cv::Mat>();
    std::cout << "cvmat 2x3 CV_8UC1: bytes " << hex(bytes.get(), size) << "\n  shares pixels with the source: "
              << std::boolalpha << (held->value<cv::Mat>().data == image.data)
              << ", read back into its own buffer: " << (back.data != image.data) << ", pixels equal: "
              << (cv::norm(back, image, cv::NORM_INF) == 0) << "\n";
}

// A frame with nested metadata, handed on without a pixel copy.
void frameHandOver() {
    Frame acquired(cv::Mat(480, 640, CV_8UC1, cv::Scalar(0)));
    acquired.addMetaDate("camera.serial", std::make_shared<Variant_<int>>(4711));
    acquired.addMetaDate("camera.temperature", std::make_shared<Variant_<double>>(36.5));
    acquired.addMetaDate("exposure", std::make_shared<Variant_<int>>(20));
    Frame handedOn = acquired.getSharedDataCopy();
    handedOn.getFrameData().at<unsigned char>(0, 0) = 255;                    // pixels are shared
    handedOn.addMetaDate("camera.gain", std::make_shared<Variant_<int>>(2));  // metadata are not
    for (const Frame* frame : {&acquired, &handedOn}) {
        std::shared_ptr<Variant> serial;
        frame->getMetaDate("camera.serial", serial);
        std::cout << (frame == &acquired ? "acquired:  " : "handed on: ") << "pixel(0,0) "
                  << int(frame->getFrameData().at<unsigned char>(0, 0)) << ", keys";
        for (const std::string& key : frame->getMetaDataKeys()) std::cout << " " << key;
        std::cout << ", camera.serial " << serial->toInt32() << ", camera.gain "
                  << (frame->isMetaDateAvailable("camera.gain") ? "set" : "not set") << "\n";
    }
}


// A measurement area travels as bytes: the spots' values and the mean value are
// named by their registered type ("float") and read back through the registry.
// The mean value has no setter: it arrives with the bytes of a measuring device.
void measurementAreaRoundTrip() {
    const MeasPoint cold(12, 40, std::make_shared<Variant_<float>>(21.5f));
    const MeasPoint hot(30, 8, std::make_shared<Variant_<float>>(36.9f));
    std::vector<char> device(8 + cold.sizeofType() + hot.sizeofType() + 4 + 5 + 4);
    size_t used = 0;
    for (unsigned short number : {10, 5, 40, 40}) used += Memory::writeField(no_swap, device.data() + used, number);
    used += cold.serialize(no_swap, device.data() + used);
    used += hot.serialize(no_swap, device.data() + used);
    used += Memory::serializeT(no_swap, device.data() + used, std::string("float"));
    Memory::serializeT(no_swap, device.data() + used, 28.25f);

    size_t size = 0;
    const MeasArea area = MeasArea::deserialize(no_swap, device.data(), device.size(), size);
    std::cout << "MeasArea from " << size << " device bytes: " << area.toString() << "\n";
    for (Endian endian : {no_swap, swap}) {
        std::vector<char> bytes(area.sizeofType());
        area.serialize(endian, bytes.data());
        const MeasArea back = MeasArea::deserialize(endian, bytes.data(), bytes.size(), size);
        std::cout << "  " << (endian == swap ? "swap   " : "no_swap") << " " << hex(bytes.data(), bytes.size())
                  << "\n  -> " << back.toString() << " (" << size << " bytes; same spots: " << std::boolalpha
                  << (back.getColdSpot() == area.getColdSpot() && back.getHotSpot() == area.getHotSpot())
                  << ", same mean object: " << (back == area) << ")\n";
    }
}

// The record's text form, its byte size and its bytes in the swapped order, then
// whether the bounded reader gets the same size back.
template <class R>
void showRecord(const char* name, const R& record) {
    std::vector<char> bytes(record.sizeofType());
    const size_t written = record.serialize(zarvo::exp::swap, bytes.data());
    size_t used = 0;
    R::deserialize(zarvo::exp::swap, bytes.data(), bytes.size(), used);
    std::string text = record.toString();
    if (text.back() != '\n') text += '\n';  // CalibrationInfo's text ends in a line end, the others do not
    std::cout << name << " (" << written << " bytes, " << used << " read back):\n" << text << "  bytes:";
    for (char byte : bytes) std::printf(" %02x", static_cast<unsigned char>(byte));
    std::cout << "\n";
}


// A device's identity records with their text forms and byte sizes.
void showDeviceIdentity() {
    showRecord("DeviceInfo2", zarvo::DeviceInfo2(100042, 7001, 12, 1, 3, "2024-05-17"));
    showRecord("VersionExtended", zarvo::exp::VersionExtended::fromString("2.4.1.1337"));
    showRecord("MaterialNumber", zarvo::MaterialNumber::fromString("1234 5678 90"));
    showRecord("CalibrationInfo", zarvo::CalibrationInfo(1, "CERT-0042", 20250101, 20240101, 0xBEEF));

    const zarvo::MaterialNumber number(123456789, zarvo::MaterialNumber::numeric);
    std::cout << "MaterialNumber from 123456789: " << number.toString() << " (ident " << std::boolalpha
              << number.hasIdent() << "), without ident " << number.toString(true) << "\n";
    try {
        zarvo::MaterialNumber::fromString("123 45678");
    } catch (const std::invalid_argument& error) {
        std::cout << "MaterialNumber refuses \"123 45678\": " << error.what() << "\n";
    }
}

// A device describes what it publishes: a tree of items with rights and options,
// and parameters reached through its own setters and getters.
void showDescriptors() {
    const auto exposure = DataDescriptor::makeItem("exposure", "int32");
    DataStorage<std::string> range;
    range.insert("Min", std::make_shared<Variant_<int>>(10));
    range.insert("Max", std::make_shared<Variant_<int>>(2000));
    range.insert("Step", std::make_shared<Variant_<int>>(10));
    exposure->setDescriptorOptions(range);
    const auto serial = DataDescriptor::makeItem("serial", "string");
    serial->setDescriptorOptions([] {
        DataStorage<std::string> readOnly;
        readOnly.insert("WriteAccess", std::make_shared<Variant_<bool>>(false));
        return readOnly;
    }());
    const auto camera = DataDescriptor::makeGroup("camera", {exposure, serial});
    const auto device = DataDescriptor::makeGroup("device", {camera, DataDescriptor::makeItem("image", "cvmat")});

    std::cout << "descriptor tree of 'device':\n";
    device->print("  ");
    std::cout << "qualified names: " << DataDescriptor::getFullQualifiedItemName(exposure.get(), "", ".") << ", "
              << DataDescriptor::getFullQualifiedItemName(serial.get(), "unit", "/") << "\n";
    const ParameterRange r = exposure->getParameterRange();
    std::cout << "exposure range: " << r.min->toInt32() << " .. " << r.max->toInt32() << " step "
              << r.step->toInt32() << "\n";
    std::cout << std::boolalpha << "serial readable " << serial->isReadable() << ", writable "
              << serial->isWritable() << "\n";

    bool triggered = false;
    cv::Mat gains(1, 3, CV_32FC1, cv::Scalar(1.0f));
    std::set<ParameterDescriptorBool> switches;
    switches.insert(ParameterDescriptorBool(
        "trigger", "external trigger", "camera", [&](bool on) { triggered = on; }, [&] { return triggered; }));
    switches.insert(ParameterDescriptorBool("auto", "automatic exposure", "camera", nullptr, [] { return true; }));
    for (const auto& s : switches) std::cout << "switch " << s.getName() << " = " << s.getValue() << "\n";
    // Ordered by name alone: a probe with the name finds the descriptor.
    switches.find(ParameterDescriptorBool("trigger", "", "", nullptr, nullptr))->setValue(true);
    std::cout << "trigger after setValue(true): " << triggered << "\n";
    try {
        std::cout << "setting '" << switches.begin()->getName() << "': ";
        switches.begin()->setValue(false);
    } catch (const zarvo::Exception& e) {
        std::cout << e.message() << "\n";
    }
    const ParameterDescriptorScalar<cv::Mat> gainParameter(
        "gains", "per-channel gains", "camera", [&](cv::Mat m) { gains = m; }, [&] { return gains; });
    gainParameter.setValue(cv::Mat(1, 3, CV_32FC1, cv::Scalar(2.0f)));
    std::cout << "gains " << gainParameter.getValue() << ", range given: " << !gainParameter.getMin().empty()
              << "\n";
}

// A calibration chain: slot 0 a gain table read by the storage's file loader, slot 1 an
// offset table, slot 2 a correction computed from both. Each generator counts its calls.
void showCurators() {
    int loads = 0, corrections = 0;
    CuratorStorage storage(3, [&](const std::string& file) -> std::shared_ptr<Variant> {
        ++loads;
        const float gain = file == "gain-v2.bin" ? 2.0f : 1.5f;  // stands in for reading the file
        return std::make_shared<Variant_<cv::Mat>>(cv::Mat(2, 2, CV_32FC1, cv::Scalar(gain)));
    });
    storage.addCurator<cv::Mat>(0, {2});  // a new gain table makes the correction stale
    storage.addCurator<cv::Mat>(1, {2});
    storage.addCurator<cv::Mat>(2);
    storage.setSourceFile(0, "gain-v1.bin");
    storage.setMatValidator(0, 2, 2, CV_32FC1);
    storage.set(1, std::make_shared<Variant_<cv::Mat>>(cv::Mat(2, 2, CV_32FC1, cv::Scalar(0.25f))));
    storage.setGenerator(2, [&]() -> std::shared_ptr<Variant> {
        ++corrections;
        const cv::Mat gain = storage.get(0)->value<cv::Mat>(), offset = storage.get(1)->value<cv::Mat>();
        return std::make_shared<Variant_<cv::Mat>>(cv::Mat(gain + offset));
    });
    const auto show = [&](const char* step) {
        std::cout << step << ": correction[0,0] = " << storage.get(2)->value<cv::Mat>().at<float>(0, 0)
                  << " (file loads " << loads << ", corrections computed " << corrections << ")\n";
    };

    show("first get(2) computes the chain");
    show("second get(2) reads the cache");
    storage.setSourceFile(0, "gain-v2.bin");  // the new file counts from the next generation
    storage.find(0)->invalidate();            // drops the gain table and the correction
    show("after invalidating the gain table");
    storage.set(0, std::make_shared<Variant_<cv::Mat>>(cv::Mat(2, 2, CV_32FC1, cv::Scalar(3.0f))));
    show("after setting a gain table by hand");
    try {
        storage.set(0, std::make_shared<Variant_<cv::Mat>>(cv::Mat(3, 3, CV_32FC1)));
    } catch (const zarvo::Exception& error) {
        std::cout << "a 3x3 gain table is refused: " << error.message() << "\n";
    }
    show("after the refusal the gain table is loaded again");
}

}  // namespace

int main() {
    roundTrip("int32", "258");
    roundTrip("double", "-2.5");
    roundTrip("uint16", "0x1F");
    roundTrip("int8", "-3");
    roundTrip("vecstring", "red;green;");
    imageRoundTrip();
    frameHandOver();
    measurementAreaRoundTrip();
    showDeviceIdentity();
    showDescriptors();
    showCurators();
    try {
        Variant::fromString("Int32", "1");
    } catch (const zarvo::Exception& error) {
        std::cout << "unknown name: " << error.message() << "\n";
    }
    return 0;
}
