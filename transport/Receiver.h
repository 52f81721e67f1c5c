#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "transport/Message.h"
#include "transport/Options.h"
#include "valuefault/Export.h"

namespace zarvo::transport {

/// What a receiving socket has counted since it was made.
struct Stats {
    std::uint64_t received = 0;   ///< Messages decoded and handed out (or skipped by receiveLatest).
    std::uint64_t dropped = 0;    ///< Messages missed, from the sequence gaps per topic and sender.
    std::uint64_t malformed = 0;  ///< Messages refused by the decoder and skipped.
    std::uint64_t restarts = 0;   ///< Times a topic's sender id changed: a restarted sender.
};

/// What Subscriber and Puller share: endpoints, decoding, and the counters. Not
/// thread-safe, like a ZeroMQ socket: one thread at a time.
class ZARVO_EXPORT Receiver {
public:
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    /// Closes the socket.
    virtual ~Receiver();

    /// Binds to endpoint and returns the bound one ("tcp://127.0.0.1:*" gets a port from the OS).
    std::string bind(const std::string& endpoint);
    /// Connects to endpoint; ZeroMQ reconnects by itself after a cut.
    void connect(const std::string& endpoint);

    /// The next well-formed message, or nothing after timeout (negative: wait for ever).
    /// Malformed messages are counted and skipped.
    std::optional<Message> receive(std::chrono::milliseconds timeout);
    /// Waits like receive for a first message, then drains what is queued and returns the
    /// newest; those passed over count as received.
    std::optional<Message> receiveLatest(std::chrono::milliseconds timeout);
    /// The counters so far.
    Stats stats() const;

protected:
    /// A socket of ZeroMQ's type socketType with options applied; countGaps: whether
    /// sequence gaps count as dropped (not for a puller, which sees a share of a stream).
    Receiver(int socketType, const Options& options, bool countGaps);
    /// The ZeroMQ socket, for the derived classes.
    void* socket() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace zarvo::transport
