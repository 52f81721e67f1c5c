// Writes the seed corpus of every harness into DIR/<harness>/: valid byte forms as
// the library itself writes them, in each byte order a value has (and, for the text
// harness, the text forms), behind the choice byte the harness expects. Run by `make fuzz` before the harnesses, so the
// seeds always match the library they are read by.
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <list>

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
#include "fuzz/FuzzSupport.h"
#ifdef ZARVO_FUZZ_MESSAGES
#include "fuzz/MessageParts.h"
#endif

using namespace zarvo;
using namespace zarvo::exp;
using namespace zarvofuzz;

namespace {

using Storage = DataStorage<std::string>;

template <class T>
std::shared_ptr<Variant> hold(T value) {
    return std::make_shared<Variant_<T>>(std::move(value));
}

// Seed files, numbered per harness.
class Corpus {
public:
    explicit Corpus(std::filesystem::path dir) : m_dir(std::move(dir)) {}

    // One seed for each byte order in which write(endian) gives a form; a value
    // that refuses an order (a matrix and swap) simply has no seed in it.
    template <class Write>
    void add(const std::string& harness, unsigned pick, Write write) {
        for (Endian endian : {no_swap, swap}) {
            std::string bytes;
            if (Refused<zarvo::Exception>::by([&] { bytes = write(endian); })) continue;
            const std::filesystem::path dir = m_dir / harness;
            std::filesystem::create_directories(dir);
            std::ofstream(dir / std::to_string(m_count++), std::ios::binary) << choice(endian, pick) << bytes;
        }
    }

    // Seeds of one record harness.
    template <class R>
    void records(const std::string& harness, std::initializer_list<R> values) {
        for (const R& value : values) add(harness, 0, [&](Endian endian) { return recordBytes(endian, value); });
    }

    int count() const { return m_count; }

private:
    std::filesystem::path m_dir;
    int m_count = 0;
};

cv::Mat image() {
    cv::Mat pixels(2, 3, CV_16UC2);
    cv::randu(pixels, 0, 60000);
    return pixels;
}

cv::Mat cube() {
    const int sizes[] = {2, 2, 3};
    return cv::Mat(3, sizes, CV_32FC1, cv::Scalar(1.5));
}

Storage storage(bool withImage) {
    Storage s;
    s.insert("camera.serial", hold(4711));
    s.insert("camera.lens.focus", hold(std::vector<float>{1.5f, 2.5f}));
    s.insert("flags", hold(std::list<bool>{true, false}));
    s.insert("name", hold(std::string("probe")));
    if (withImage) s.insert("camera.image", hold(image()));
    return s;
}

// Values of the registered type name: parsed from texts where the type has a text
// form, made by hand for the matrix, geometry and storage types, which have none.
std::vector<std::shared_ptr<Variant>> samples(const std::string& name) {
    if (name == "cvmat") return {hold(image()), hold(cube()), hold(cv::Mat())};
    if (name == "veccvmat") return {hold(std::vector<cv::Mat>{image(), cv::Mat(), cube()})};
    if (name == "cvsize") return {hold(cv::Size(3, 4))};
    if (name == "cvrect") return {hold(cv::Rect(1, -2, 3, 4))};
    if (name == "storage") return {hold(storage(false)), hold(storage(true))};
    std::vector<std::shared_ptr<Variant>> values;
    for (const char* text : {"1;-2;3;", "", "12:-3"})
        Refused<zarvo::Exception>::by([&] { values.push_back(Variant::fromString(name, text)); });
    return values;
}

void values(Corpus& corpus, const std::string& harness, const std::vector<std::string>& names) {
    for (unsigned pick = 0; pick < names.size(); ++pick)
        for (const auto& value : samples(names[pick]))
            corpus.add(harness, pick, [&](Endian endian) { return variantBytes(endian, value); });
}

// Seeds of the text harness: the text form of each value that has one.
void texts(Corpus& corpus, const std::vector<std::string>& names) {
    for (unsigned pick = 0; pick < names.size(); ++pick)
        for (const auto& value : samples(names[pick]))
            if (value) corpus.add("text", pick, [&](Endian) { return value->toString(); });
}

// An area gets its mean value only from bytes: put together from the forms of its
// parts (a point's form less its position is a name and a value).
MeasArea area() {
    std::string bytes;
    for (unsigned short number : {1, 2, 30, 40}) {
        char field[2];
        Memory::serializeT(no_swap, field, number);
        bytes.append(field, 2);
    }
    bytes += recordBytes(no_swap, MeasPoint(1, 2, hold(std::string("cold"))));
    bytes += recordBytes(no_swap, MeasPoint(3, 4, hold(std::vector<int>{5, 6})));
    bytes += recordBytes(no_swap, MeasPoint(0, 0, hold(1.5f))).substr(4);
    size_t used = 0;
    return MeasArea::deserialize(no_swap, bytes.data(), used);
}

#ifdef ZARVO_FUZZ_MESSAGES
// Seeds of the message harness: a message of each kind, with owners and without.
void messages(Corpus& corpus) {
    using namespace zarvo::transport;
    const Envelope envelope{"camera", Kind::End, 3, 1700000000000000000, 0x1234};
    Frame frame(image());
    frame.addMetaDate("exposure", hold(0.004));
    for (const auto& parts : {WireFormat::encode(envelope, *hold(42)), WireFormat::encode(envelope, storage(true)),
                              WireFormat::encode(envelope, frame), WireFormat::encode(envelope, Frame(cube())),
                              WireFormat::encodeEnd(envelope)})
        for (unsigned pick : {0u, 1u}) corpus.add("message", pick, [&](Endian) { return joinParts(parts); });
}
#endif

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " DIR\n";
        return 2;
    }
    Corpus corpus(argv[1]);
    values(corpus, "value", valueNames());
    values(corpus, "matrix", matrixNames());
    texts(corpus, valueNames());
    corpus.records<Storage>("Storage", {Storage(), storage(false), storage(true)});
    corpus.records<MarkedFloat>("MarkedFloat", {MarkedFloat(21.5f, MarkedFloat::Valid),
                                                MarkedFloat(80.0f, MarkedFloat::Overrange), MarkedFloat()});
    corpus.records<Version>("Version", {Version(1, 2, 3)});
    corpus.records<VersionExtended>("VersionExtended", {VersionExtended(1, 2, 3, 4)});
    corpus.records<MeasPoint>("MeasPoint", {MeasPoint(10, 20, hold(36.5)), MeasPoint(1, 2, hold(storage(false)))});
    corpus.records<MeasArea>("MeasArea", {area()});
    corpus.records<ProbeValue>("ProbeValue", {ProbeValue(1.5f, -2, 3)});
    corpus.records<DeviceInfo>("DeviceInfo", {DeviceInfo(1, 2, 3, 4, "2024-05-06")});
    corpus.records<DeviceInfo2>("DeviceInfo2", {DeviceInfo2(1, 2, 3, 4, 5, "2024-05-06")});
    corpus.records<MaterialNumber>("MaterialNumber",
                                   {MaterialNumber("1234 5678", MaterialNumber::numeric),
                                    MaterialNumber("1234 5678 90", MaterialNumber::numeric), MaterialNumber()});
    corpus.records<CalibrationInfo>("CalibrationInfo", {CalibrationInfo(1, "CERT-2024-0001", 20250101, 20240101, 7),
                                                        CalibrationInfo(2, "C23456789ABCDEFGH", -1, 0, 0)});
#ifdef ZARVO_FUZZ_MESSAGES
    messages(corpus);
#endif
    std::cout << corpus.count() << " seeds in " << argv[1] << "\n";
    return 0;
}
