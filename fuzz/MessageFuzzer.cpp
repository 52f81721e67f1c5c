// Reads multipart messages through WireFormat::decode: the choice byte's bit 0 says
// whether the parts have owners (pixels then stay in their part) or only live through
// the call (pixels copied). A message accepted writes again into one that reads back
// with the same envelope.
#include <optional>

#include "fuzz/FuzzSupport.h"
#include "fuzz/MessageParts.h"

using namespace zarvo::transport;
using namespace zarvofuzz;

namespace {

std::vector<WireFormat::Part> encode(const Message& message) {
    switch (message.kind) {
        case Kind::Value: return WireFormat::encode(message, *message.value);
        case Kind::Storage: return WireFormat::encode(message, message.storage);
        case Kind::Frame: return WireFormat::encode(message, message.frame);
        case Kind::End: break;
    }
    return WireFormat::encodeEnd(message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, size_t size) {
    Input in;
    if (!split(bytes, size, in)) return 0;
    const auto buffers = splitParts(in.data, in.size);
    std::vector<WireFormat::Part> parts;
    for (const auto& buffer : buffers)
        parts.push_back({buffer->data(), buffer->size(), (in.pick & 1) != 0 ? buffer : nullptr});
    std::optional<Message> message;
    if (Refused<zarvo::Exception>::by([&] { message.emplace(WireFormat::decode(parts)); })) return 0;

    const std::vector<WireFormat::Part> again = encode(*message);
    const Message back = WireFormat::decode(again);
    require(back.topic == message->topic && back.kind == message->kind && back.sequence == message->sequence &&
                back.sendTime == message->sendTime && back.sender == message->sender,
            "an accepted message does not read back with its envelope");
    return 0;
}
