#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "transport/KeyPair.h"

namespace zarvo::transport {

/// CURVE encryption and authentication, ZeroMQ's own. Empty: plain text.
struct Security {
    /// Set on the server side (usually the side that binds): its key pair.
    std::optional<KeyPair> server;
    /// Set on a client: the server's public key, which the client must know.
    std::string serverPublicKey;
    /// A client's own pair; a fresh one is made when this is empty.
    std::optional<KeyPair> client;
    /// Server side: the clients' public keys let in; empty lets in every client that knows the server's key.
    std::vector<std::string> allowedClients;
};

/// Settings of a socket, each with the default documented in the guide.
struct Options {
    /// Messages queued per peer before a publisher drops and a pusher blocks (ZMQ_SNDHWM).
    int sendHighWaterMark = 1000;
    /// Messages queued on receiving before the peer drops or blocks (ZMQ_RCVHWM).
    int receiveHighWaterMark = 1000;
    /// How long closing waits to hand over queued messages (ZMQ_LINGER); negative: until sent.
    std::chrono::milliseconds linger{1000};
    /// A pusher's send that no puller takes within this throws (ZMQ_SNDTIMEO); negative: waits for ever.
    std::chrono::milliseconds sendTimeout{5000};
    /// Largest part a receiving socket accepts (ZMQ_MAXMSGSIZE); larger ones drop the peer. Negative: no limit.
    std::int64_t maxMessageSize = std::int64_t{1} << 30;
    /// Encryption and authentication; none by default.
    Security security;
};

}  // namespace zarvo::transport
