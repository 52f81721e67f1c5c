// A value's road: text -> typed holder -> bytes in both byte orders -> back through the registry.
#include <cstdio>
#include <iostream>
#include <string>

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

}  // namespace

int main() {
    roundTrip("int32", "258");
    roundTrip("double", "-2.5");
    roundTrip("uint16", "0x1F");
    roundTrip("int8", "-3");
    roundTrip("vecstring", "red;green;");
    imageRoundTrip();
    frameHandOver();
    try {
        Variant::fromString("Int32", "1");
    } catch (const zarvo::Exception& error) {
        std::cout << "unknown name: " << error.message() << "\n";
    }
    return 0;
}
