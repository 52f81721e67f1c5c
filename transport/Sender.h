#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Frame.h"
#include "core/datatypes/Variant.h"
#include "transport/Options.h"
#include "valuefault/Export.h"

namespace zarvo::transport {

/// What Publisher and Pusher share: endpoints, the per-topic sequence numbers, the sender
/// id, and the sends. Not thread-safe, like a ZeroMQ socket: one thread at a time.
class ZARVO_EXPORT Sender {
public:
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    /// Closes the socket, waiting at most the linger time for queued messages.
    virtual ~Sender();

    /// Binds to endpoint and returns the bound one ("tcp://127.0.0.1:*" gets a port from the OS).
    std::string bind(const std::string& endpoint);
    /// Connects to endpoint; ZeroMQ reconnects by itself after a cut.
    void connect(const std::string& endpoint);

    /// Sends a value (its registered name and byte form).
    void send(const std::string& topic, const exp::Variant& value);
    /// Sends a storage in its byte form.
    void send(const std::string& topic, const exp::DataStorage<std::string>& storage);
    /// Sends a frame; its pixels go out without a copy, the matrix held until ZeroMQ is done.
    void send(const std::string& topic, const exp::Frame& frame);
    /// Sends the end of the topic's stream.
    void sendEnd(const std::string& topic);

    /// This instance's id, random, carried by every message it sends.
    std::uint64_t senderId() const;

protected:
    /// A socket of ZeroMQ's type socketType with options applied.
    Sender(int socketType, const Options& options);
    /// The ZeroMQ socket, for the derived classes.
    void* socket() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace zarvo::transport
