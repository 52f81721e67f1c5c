// The wire layout byte by byte, round trips of every kind, and the refusal of hostile messages.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TestSupport.h"
#include "tests/transport/TransportSupport.h"

using namespace zarvo::exp;
using namespace zarvo::transport;
using testsupport::hex;
using testsupport::hold;
using transportsupport::parts;
using transportsupport::strings;

namespace {

const Envelope kEnvelope{"cam", Kind::End, 5, 0x0102030405060708, 0x1122334455667788};
// The header part of kEnvelope, kind byte left out.
const std::string kHeaderHead = hex("5a 52 56 4f 01 00");
const std::string kHeaderTail = hex("00 05 00 00 00 00 00 00 00 08 07 06 05 04 03 02 01 88 77 66 55 44 33 22 11");

std::string header(Kind kind) { return kHeaderHead + static_cast<char>(kind) + kHeaderTail; }

}  // namespace

TEST(WireFormat, EachKindByteByByte) {
    EXPECT_EQ(strings(WireFormat::encode(kEnvelope, *hold<int>(42))),
              (std::vector<std::string>{"cam", header(Kind::Value), "int32", hex("2a 00 00 00")}));

    DataStorage<std::string> storage;
    storage.insert("gain", hold(1.5));
    EXPECT_EQ(strings(WireFormat::encode(kEnvelope, storage)),
              (std::vector<std::string>{"cam", header(Kind::Storage),
                                        hex("01 00 00 00 00 00 00 00  04 00 00 00") + "gain" + hex("06 00 00 00") +
                                            "double" + hex("00 00 00 00 00 00 f8 3f")}));

    cv::Mat pixels(2, 3, CV_16UC1);
    for (int i = 0; i < 6; ++i) pixels.at<std::uint16_t>(i / 3, i % 3) = static_cast<std::uint16_t>(0x0100 + i);
    const Frame frame(pixels);
    const auto frameParts = WireFormat::encode(kEnvelope, frame);
    EXPECT_EQ(strings(frameParts), (std::vector<std::string>{
                                       "cam", header(Kind::Frame), std::string(8, '\0'),
                                       hex("02 00 00 00  02 00 00 00 03 00 00 00  02 00 00 00 01 00 00 00 02 00 00 00"),
                                       hex("00 01 01 01 02 01 03 01 04 01 05 01")}));
    // No copy: the pixel part is the frame's own buffer, and it is the matrix byte form's tail.
    EXPECT_EQ(frameParts[4].data, reinterpret_cast<const char*>(pixels.data));
    EXPECT_EQ(strings(frameParts)[3] + strings(frameParts)[4], testsupport::bytesOf(*hold(pixels), no_swap));

    EXPECT_EQ(strings(WireFormat::encodeEnd(kEnvelope)), (std::vector<std::string>{"cam", header(Kind::End)}));
}

TEST(WireFormat, RoundTripsOfEveryKind) {
    const auto decoded = [](const std::vector<WireFormat::Part>& encoded) {
        const std::vector<std::string> bytes = strings(encoded);
        return WireFormat::decode(parts(bytes));
    };
    const Message value = decoded(WireFormat::encode(kEnvelope, *hold(std::vector<double>{1.5, -2})));
    EXPECT_EQ(std::tie(value.topic, value.kind, value.sequence, value.sendTime, value.sender),
              std::make_tuple("cam", Kind::Value, 5u, 0x0102030405060708, 0x1122334455667788u));
    EXPECT_EQ(value.value->toString(), "1.5;-2;");

    EXPECT_EQ(decoded(WireFormat::encode(kEnvelope, *hold(cv::Rect(1, -2, 30, 40)))).value->value<cv::Rect>(),
              cv::Rect(1, -2, 30, 40));

    // Other kinds' round trips run over real sockets; here the edges of the matrix layout:
    // a region of a larger matrix leaves with its rows joined, and an empty one as a header alone.
    cv::Mat whole(4, 4, CV_8UC1);
    cv::randu(whole, 0, 255);
    const cv::Mat region = whole(cv::Rect(1, 1, 2, 3));
    EXPECT_EQ(
        cv::norm(decoded(WireFormat::encode(kEnvelope, Frame(region))).frame.getFrameData(), region, cv::NORM_INF),
        0.0);
    EXPECT_TRUE(decoded(WireFormat::encode(kEnvelope, Frame())).frame.getFrameData().empty());
}

TEST(WireFormat, RefusesHostileMessagesSayingWhy) {
    const std::string topic = "cam";
    const std::string int32 = hex("2a 00 00 00");
    const std::string matrixHeader = hex("02 00 00 00 02 00 00 00 03 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00");
    const std::string noMetaData(8, '\0');
    std::string futureVersion = header(Kind::Value);
    futureVersion[4] = 7;
    std::string badMagic = header(Kind::Value);
    badMagic[3] = 'X';
    std::string unknownKind = header(Kind::Value);
    unknownKind[6] = 9;
    const struct {
        std::vector<std::string> message;
        std::string refusal;
    } cases[] = {
        {{topic}, "Message has too few parts (1): a topic and a header at least"},
        {{topic, header(Kind::End).substr(0, 31)}, "Message header part holds 31 bytes, not 32"},
        {{topic, badMagic, "int32", int32},
         "Message header starts with 5a 52 56 58, not the magic 5a 52 56 4f (\"ZRVO\")"},
        {{topic, futureVersion, "int32", int32},
         "Message format version 7 is not supported by this reader (version 1)"},
        {{topic, unknownKind}, "Message kind 9 is unknown: 1 value, 2 storage, 3 frame or 4 end of stream"},
        {{topic, header(Kind::Value), "int32"}, "A value message has 3 parts, not 4"},
        {{topic, header(Kind::End), ""}, "An end-of-stream message has 3 parts, not 2"},
        {{topic, header(Kind::Value), "no\x1bsuch", int32},
         "Value message names the type 'no\\x1bsuch', which is not registered"},
        {{topic, header(Kind::Value), "void", ""}, "Value message names the type 'void', which holds no value"},
        {{topic, header(Kind::Value), "int32", int32.substr(0, 3)},
         "Value part: Input ends before the value does: 4 more bytes needed at offset 0, 3 left"},
        {{topic, header(Kind::Value), "int32", int32 + "xy"}, "Value part holds 2 bytes behind its byte form of 4"},
        {{topic, header(Kind::Storage), hex("00 00 00 00 00 00 00 40")},
         "Storage part: Input ends before the value does: 4611686018427387904 elements of at least 8 bytes announced "
         "at "
         "offset 8, 0 bytes left"},
        {{topic, header(Kind::Frame), noMetaData, hex("28 00 00 00") + std::string(12, '\0'), ""},
         "Matrix header part: Matrix header holds 40 dimensions, at most 32"},
        {{topic, header(Kind::Frame), noMetaData, matrixHeader + "z", std::string(6, 'p')},
         "Matrix header part holds 1 bytes behind its byte form of 24"},
        {{topic, header(Kind::Frame), noMetaData, matrixHeader, std::string(5, 'p')},
         "Pixel block holds 5 bytes, the matrix header announces 6"},
    };
    for (const auto& hostile : cases) {
        SCOPED_TRACE(hostile.refusal);
        const std::vector<WireFormat::Part> message = parts(hostile.message);
        EXPECT_THAT([&] { WireFormat::decode(message); },
                    testing::Throws<zarvo::Exception>(testing::Property(&zarvo::Exception::message, hostile.refusal)));
    }
}

TEST(WireFormat, PixelsStayInAnOwnedAlignedPartElseAreCopied) {
    cv::Mat pixels(4, 8, CV_16UC1);
    cv::randu(pixels, 0, 65535);
    const std::vector<std::string> encoded = strings(WireFormat::encode(kEnvelope, Frame(pixels)));
    const struct {
        bool owned;
        size_t offset;  // of the pixel part in its buffer: 1 puts 16-bit numbers at odd addresses
        bool wrapped;
    } cases[] = {{true, 0, true}, {true, 1, false}, {false, 0, false}};
    for (const auto& pixelPart : cases) {
        SCOPED_TRACE(std::to_string(pixelPart.owned) + " " + std::to_string(pixelPart.offset));
        auto buffer = std::make_shared<std::string>(std::string(pixelPart.offset, '\0') + encoded[4]);
        char* const start = buffer->data() + pixelPart.offset;
        std::vector<WireFormat::Part> message = parts(encoded);
        message[4] = {start, encoded[4].size(), pixelPart.owned ? buffer : nullptr};
        const std::weak_ptr<std::string> owner = buffer;
        cv::Mat received = WireFormat::decode(message).frame.getFrameData();
        EXPECT_EQ(received.data == reinterpret_cast<uchar*>(start), pixelPart.wrapped);
        // Input overwritten after decoding shows through a wrapped matrix only.
        std::fill(start, start + encoded[4].size(), '\xff');
        EXPECT_EQ(cv::norm(received, pixels, cv::NORM_INF) == 0.0, !pixelPart.wrapped);
        // The owner lives exactly as long as the last matrix over its bytes.
        cv::Mat corner = received(cv::Rect(0, 0, 2, 2));
        buffer.reset();
        message.clear();
        received.release();
        EXPECT_EQ(owner.expired(), !pixelPart.wrapped);
        corner.release();
        EXPECT_TRUE(owner.expired());
    }
}
