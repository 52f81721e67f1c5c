// Built against an installed package with hidden visibility: proves that headers,
// the exported symbols and the CMake package fit. Each step uses a part of the
// interface that lives in the libraries, or a template of the caller's own that
// derives from one of their classes.
#include <iostream>
#include <memory>
#include <string>

#include "zarvo/datatypes.h"

using namespace zarvo::exp;

namespace {

// A caller's own record: Variant_<Reading> and TypeObject_<Reading> are compiled
// here, on the library's exported bases.
struct Reading {
    int channel = 0;
    MarkedFloat value;

    bool operator==(const Reading& other) const { return channel == other.channel && value == other.value; }
    size_t serialize(Endian endian, char* data) const {
        const size_t used = Memory::writeField(endian, data, channel);
        return used + value.serialize(endian, data + used);
    }
    static Reading deserialize(Endian endian, const char* data, size_t& size) {
        Memory::Cursor in(endian, data);
        Reading reading;
        reading.channel = in.field<int>();
        Memory::deserializeT(in, reading.value);
        size = in.consumed();
        return reading;
    }
    size_t sizeofType() const { return 8; }
    std::string toString() const { return std::to_string(channel) + ": " + value.toString(); }
};

ZARVO_REGISTER_METATYPE(Reading, "reading");

int failures = 0;

void check(bool ok, const std::string& step) {
    std::cout << (ok ? "ok   " : "FAIL ") << step << "\n";
    if (!ok) ++failures;
}

}  // namespace

int main() {
    // Built-in values by name, through the registry.
    const auto value = Variant::fromString("int32", "42");
    size_t size = 0;
    const auto bytes = value->serialize(swap, size);
    const auto back = Variant::deserialize(value->getTypeString(), swap, bytes.get(), size);
    check(back->value<int>() == 42 && size == 4, "int32 round trip: " + back->toString());

    // The caller's type, read back by the library through its registered name.
    const auto reading = std::make_shared<Variant_<Reading>>(Reading{3, MarkedFloat(1.5f, MarkedFloat::Overrange)});
    const auto readingBytes = reading->serialize(no_swap, size);
    const auto readingBack = Variant::deserialize("reading", no_swap, readingBytes.get(), size);
    check(readingBack->getTypeString() == "reading" && readingBack->equal_imp(reading),
          "registered caller type: " + readingBack->toString());

    // An exception thrown inside the library, caught here by its type.
    try {
        Version::fromString("7");
        check(false, "Version::fromString(\"7\") throws");
    } catch (const zarvo::Exception& error) {
        check(error.message() == "Invalid string, cannot convert to version number !",
              "zarvo::Exception from the library: " + error.message());
    }

    // Records: a version and a measurement point in their byte forms.
    const Version version(1, 2, 3);
    char versionBytes[12];
    version.serialize(swap, versionBytes);
    check(Version::deserialize(swap, versionBytes, size) == version && version.toString() == "1.02.03",
          "Version round trip: " + version.toString());
    const MeasPoint point(10, 20, Variant::fromString("float", "36.5"));
    std::string pointBytes(point.sizeofType(), '\0');
    point.serialize(swap, pointBytes.data());
    check(MeasPoint::deserialize(swap, pointBytes.data(), pointBytes.size(), size) == point,
          "MeasPoint round trip: " + point.toString());

    // A storage with a group, in its byte form.
    DataStorage<std::string> storage;
    storage.insert("gain", Variant::fromString("double", "1.5"));
    storage.insert("probe.serial", Variant::fromString("uint32", "4711"));
    check(storage.get("probe.serial")->toUInt32() == 4711 && storage.size() == 2, "DataStorage with a group");
    DataStorage<std::string> flat;
    flat.insert("gain", storage.get("gain"));
    std::string storageBytes(flat.sizeofType(), '\0');
    flat.serialize(no_swap, storageBytes.data());
    check(DataStorage<std::string>::deserialize(no_swap, storageBytes.data(), size) == flat, "DataStorage round trip");

    // A frame sharing its pixels, with metadata.
    Frame frame(cv::Mat::eye(2, 2, CV_8U), std::move(storage));
    const Frame shared = frame.getSharedDataCopy();
    std::shared_ptr<Variant> gain;
    check(shared.getFrameData().data == frame.getFrameData().data && shared.getMetaDate("gain", gain) &&
              gain->toDouble() == 1.5 && frame.getMetaDataKeys().size() == 2,
          "Frame shares pixels, copies metadata");
    check(registerStorageType() != nullptr && DataStorage<std::string>::groupOf(*shared.getMetaData().get("probe")),
          "storage holder registered, group found");

    // A matrix header apart from its pixels, which are wrapped where they lie.
    using MatBinary = Memory::Binary<cv::Mat>;
    const cv::Mat& pixels = frame.getFrameData();
    std::string header(MatBinary::headerSize(pixels), '\0');
    MatBinary::writeHeader(header.data(), pixels);
    Memory::Cursor in(no_swap, header.data(), header.size());
    check(MatBinary::readHeader(in).wrap(pixels.data, MatBinary::pixelSize(pixels)).data == pixels.data,
          "matrix header read apart, pixels wrapped");

    // Curated data: a value generated from another and invalidated with it.
    CuratorStorage curators(2);
    curators.addCurator<float>(0, {1});
    curators.addCurator<float>(1);
    curators.setGenerator(1, [&curators] { return std::make_shared<Variant_<float>>(curators.get(0)->toFloat() * 2); });
    curators.set(0, std::make_shared<Variant_<float>>(21.0f));
    const float first = curators.get(1)->toFloat();
    curators.set(0, std::make_shared<Variant_<float>>(5.0f));
    check(first == 42.0f && curators.get(1)->toFloat() == 10.0f, "CuratorStorage recomputes after a change");

    std::cout << "consumer: " << (failures == 0 ? "all steps passed" : "steps failed") << "\n";
    return failures == 0 ? 0 : 1;
}
