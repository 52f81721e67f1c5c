#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

namespace {

// Reads bytes bounded by *available (nullptr: unbounded) and gives the byte form of what it read, so that results of
// any type compare as bytes.
using Reader = std::function<std::string(Endian, const char* data, const size_t* available, size_t& size)>;

struct Form {
    std::string name;
    Reader read;
    std::string bytes[2];  // written with no_swap and with swap; empty where the value has no such form
};

Form held(const std::string& name, const std::shared_ptr<Variant>& value) {
    const Reader read = [name](Endian endian, const char* data, const size_t* available, size_t& size) {
        return bytesOf(*(available ? Variant::deserialize(name, endian, data, *available, size)
                                   : Variant::deserialize(name, endian, data, size)),
                       endian);
    };
    return {name, read, {bytesOf(*value, no_swap), value->isSwappable() ? bytesOf(*value, swap) : ""}};
}

template <class R>
Form record(const R& value) {
    const Reader read = [](Endian endian, const char* data, const size_t* available, size_t& size) {
        return recordBytes(
            available ? R::deserialize(endian, data, *available, size) : R::deserialize(endian, data, size), endian);
    };
    return {typeid(R).name(), read, {recordBytes(value, no_swap), recordBytes(value, swap)}};
}

std::vector<Form> forms() {
    cv::Mat image(2, 3, CV_16UC2);
    cv::randu(image, 0, 60000);
    return {held("string", hold(std::string("abc"))),
            held("vecint16", hold(std::vector<short>{1, -2, 3})),
            held("listbool", hold(std::list<bool>{true, false})),
            held("listdouble", hold(std::list<double>{1.5, -2})),
            held("vecstring", hold(std::vector<std::string>{"a", "", "bc"})),
            held("cvmat", hold(image)),
            held("cvrect", hold(cv::Rect(1, -2, 3, 4))),
            held("veccvmat", hold(std::vector<cv::Mat>{image, cv::Mat()})),
            record(MarkedFloat(2.5f, MarkedFloat::Overrange)),
            record(MeasPoint(7, 8, hold(std::vector<std::string>{"x", "yz"}))),
            record(Version(1, 2, 3)),
            record(VersionExtended(1, 2, 3, 4)),
            record(zarvo::ProbeValue(1.5f, -2, 3)),
            record(zarvo::CalibrationInfo(1, "CERT", 5, 6, 7)),
            record(zarvo::DeviceInfo(1, 2, 3, 4, "2026-11-23")),
            record(zarvo::DeviceInfo2(1, 2, 3, 4, 5, "2026")),
            record(zarvo::MaterialNumber::fromString("1234 5678 90"))};
}

}  // namespace

// Every form cut at every length throws; whole, the bounded reader agrees with the open one.
TEST(BoundedRead, TruncationsRoundTripsAndMessages) {
    for (const Form& form : forms())
        for (const Endian endian : {no_swap, swap}) {
            const std::string& bytes = form.bytes[endian == swap];
            if (bytes.empty()) continue;
            for (size_t cut = 0; cut < bytes.size(); ++cut) {
                const std::vector<char> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
                size_t size = 0;
                EXPECT_THROW(form.read(endian, part.data(), &cut, size), zarvo::Exception)
                    << form.name << " cut " << cut;
            }
            size_t open = 99, bounded = 99;  // overwritten, not added to
            const size_t available = bytes.size() + 3;
            EXPECT_EQ(form.read(endian, bytes.data(), nullptr, open), bytes) << form.name;
            EXPECT_EQ(form.read(endian, (bytes + "xyz").data(), &available, bounded), bytes) << form.name;
            EXPECT_TRUE(open == bytes.size() && bounded == bytes.size()) << form.name;
        }

    // The failure names what is missing, counted from the start of the value being read; matrix headers and
    // implausible counts are refused before anything is allocated, by the open reader too.
    const std::string device = recordBytes(zarvo::DeviceInfo(1, 2, 3, 4, "2024-01-31"), no_swap);
    const std::string text = hex("05 00 00 00") + "abc", ends = "Input ends before the value does: ";
    const std::pair<std::function<void(size_t&)>, std::string> reads[] = {
        {[&](size_t& size) { Memory::deserializeT<std::string>(no_swap, text.data(), text.size(), size); },
         ends + "5 more bytes needed at offset 4, 3 left"},
        {[](size_t& size) { Variant::deserialize("vecint32", no_swap, "\xff\xff\xff\xff", 4, size); },
         ends + "17179869180 more bytes needed at offset 4, 0 left"},
        {[&](size_t& size) { zarvo::DeviceInfo::deserialize(no_swap, device.data(), device.size() - 6, size); },
         ends + "10 more bytes needed at offset 26, 4 left"}};
    for (const auto& [read, message] : reads) {
        size_t size = 0;
        EXPECT_EQ(messageOf([&] { read(size); }), message);
    }
    // A matrix vector written with no_swap, read with swap: 2^24 elements claimed, and
    // the first one refuses the byte order before anything is sized for the rest.
    const std::string matrices = bytesOf(*hold(std::vector<cv::Mat>(1)), no_swap);
    size_t size = 7;
    EXPECT_EQ(messageOf([&] { Variant::deserialize("veccvmat", swap, matrices.data(), matrices.size(), size); }),
              "Mat only serializable for no_swap endianes");

    const auto header = [](std::vector<int> fields) {
        return std::string(reinterpret_cast<char*>(fields.data()), 4 * fields.size());
    };
    const std::pair<std::string, std::string> matrixHeaders[] = {
        {header({33}), "Matrix header holds 33 dimensions, at most 32"},
        {header({2, 3, -1, 0, 1, 1}), "Matrix header holds the negative size -1 in dimension 1"},
        {header({2, 1, 1, 8, 1, 1}), "Matrix header holds the depth code 8, not 0 to 7"},
        {header({2, 1, 1, 0, 0, 1}), "Matrix header holds 0 channels, not 1 to 512"},
        {header({2, 1, 1, 0, 600, 1}), "Matrix header holds 600 channels, not 1 to 512"},
        {header({4, 0x7fffffff, 0x7fffffff, 0x7fffffff, 0x7fffffff, 0, 1, 1}),
         "Matrix header holds more elements than memory can address"},
        {header({2, 0x7fffffff, 0x7fffffff, 7, 512, 8}),
         "Matrix header holds more pixel bytes than memory can address"},
        {header({2, 1000, 1000, 0, 1, 1}), ends + "1000000 more bytes needed at offset 24, 0 left"}};
    for (const auto& [bytes, message] : matrixHeaders) {
        EXPECT_EQ(messageOf([&] { Variant::deserialize("cvmat", no_swap, bytes.data(), bytes.size(), size); }),
                  message);
        if (message.find(ends) != 0) {  // the open reader checks headers too
            EXPECT_EQ(messageOf([&] { Variant::deserialize("cvmat", no_swap, bytes.data(), size); }), message);
        }
    }
}

// Forms found by hostile-input runs: each is read back as written, or refused with its message, by the bounded
// reader and the open one alike.
TEST(BoundedRead, HostileFormsFromFuzzing) {
    const std::string point = hex("01 00 02 00 04 00 00 00") + "void";
    const std::string spot = recordBytes(MeasPoint(1, 2, hold(3)), no_swap);
    const std::string area = hex("01 00 02 00 03 00 04 00") + spot + spot + hex("04 00 00 00") + "void";
    const struct {
        std::string name, bytes, message;  // message empty: the bytes read back as written
    } forms[] = {
        // A zero size means no elements, though the other sizes multiply past what memory holds.
        {"cvmat",
         hex("04 00 00 00 ff ff ff 7f ff ff ff 7f ff ff ff 7f 00 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00"), ""},
        {"point", point, "MEAS POINT holds no value: its type void has none"},
        {"area", area, "MEAS AREA mean value holds no value: its type void has none"},
        {"vecstring", hex("ff ff ff ff 01 00 00 00 61 00 00 00 00"),
         "Input ends before the value does: 4294967294 elements of at least 4 bytes announced at offset 9, 4 bytes "
         "left"}};
    for (const auto& form : forms)
        for (const bool bounded : {true, false}) {
            if (!bounded && form.name == "vecstring") continue;  // the open reader believes counts
            const auto read = [&] {
                size_t size = 0;
                const char* data = form.bytes.data();
                if (form.name == "point")
                    return recordBytes(bounded ? MeasPoint::deserialize(no_swap, data, form.bytes.size(), size)
                                               : MeasPoint::deserialize(no_swap, data, size),
                                       no_swap);
                if (form.name == "area")
                    return recordBytes(bounded ? MeasArea::deserialize(no_swap, data, form.bytes.size(), size)
                                               : MeasArea::deserialize(no_swap, data, size),
                                       no_swap);
                return bytesOf(*(bounded ? Variant::deserialize(form.name, no_swap, data, form.bytes.size(), size)
                                         : Variant::deserialize(form.name, no_swap, data, size)),
                               no_swap);
            };
            if (form.message.empty()) EXPECT_EQ(read(), form.bytes) << form.name;
            else EXPECT_EQ(messageOf(read), form.message) << form.name;
        }
}
