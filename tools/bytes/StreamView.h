#pragma once

// What zarvo-inspect does with live streams (listen, record, send, keys): each command
// is one socket of zarvo_transport. An endpoint that starts with "@" is bound
// ("@tcp://*:5555"), any other one is connected to.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/datatypes/Variant.h"
#include "transport/Message.h"
#include "transport/Receiver.h"

namespace inspect {

/// One line of a message: topic, sequence, send time (UTC), kind and a summary, e.g.
/// "camera #3 2026-01-02T03:04:05.000000006Z frame 2 dims 480x640, CV_8UC1; metadata: gain".
std::string messageLine(const zarvo::transport::Message& message);
/// The same as one JSON object: topic, sequence, sendTime, sender, kind, then type and
/// value (a value), value (a storage) or image and metadata (a frame).
std::string messageJson(const zarvo::transport::Message& message);
/// "received 3, dropped 0, malformed 0, restarts 0", or as JSON {"stats":{...}}.
std::string statsText(const zarvo::transport::Stats& stats, bool json);

/// What listen and record receive from.
struct StreamSource {
    std::string endpoint;             ///< "@" first binds, else connects
    std::vector<std::string> topics;  ///< prefixes; none: every topic
    bool pull = false;                ///< a puller's share of a pipeline instead of a subscription
};

/// Prints a line (or a JSON object) per message until count messages came (0: until
/// SIGINT or SIGTERM), then the counters.
void listen(const StreamSource& source, std::uint64_t count, bool json);

/// Records the frames of each topic into file (created or replaced) as a recording at the
/// topic's path, until frames frames came (0: no limit) or seconds passed (0: no limit)
/// or SIGINT or SIGTERM; prints each recording's frame count and the counters.
void record(const StreamSource& source, const std::string& file, std::uint64_t frames, double seconds);

/// Publishes value on topic once a subscriber has joined, waiting at most waitSeconds;
/// throws, sending nothing, when none came.
void send(const std::string& endpoint, const std::string& topic, const std::shared_ptr<zarvo::exp::Variant>& value,
          double waitSeconds);

/// Writes a new CURVE key pair: name.key (the secret, readable by its owner only) and
/// name.pub; refuses to replace either.
void writeKeys(const std::string& name);

}  // namespace inspect
