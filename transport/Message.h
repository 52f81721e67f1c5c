#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Frame.h"
#include "core/datatypes/Variant.h"

namespace zarvo::transport {

/// What a message carries; each number is the kind byte of the wire's header part.
enum class Kind : std::uint8_t {
    Value = 1,    ///< a registered value: its name and its byte form
    Storage = 2,  ///< a DataStorage<std::string> in its byte form
    Frame = 3,    ///< a frame: metadata, matrix header, pixels
    End = 4,      ///< the end of a stream: no payload
};

/// The envelope of every message: topic, kind, and where it stands in its stream.
struct Envelope {
    std::string topic;           ///< The first part; subscriptions filter on its prefix.
    Kind kind = Kind::End;       ///< What the payload is.
    std::uint64_t sequence = 0;  ///< Per topic and sender, from 0, one up per message sent.
    std::int64_t sendTime = 0;   ///< Nanoseconds since the Unix epoch, on the sender's clock.
    std::uint64_t sender = 0;    ///< Id of the sending instance: a new one after each restart.
};

/// A received or decoded message: the envelope and the one payload its kind names.
struct Message : Envelope {
    std::shared_ptr<exp::Variant> value;    ///< Kind::Value: the value read from its byte form.
    exp::DataStorage<std::string> storage;  ///< Kind::Storage: the storage read from its byte form.
    exp::Frame frame;                       ///< Kind::Frame: metadata read, pixels over the received buffer (no copy).
};

}  // namespace zarvo::transport
