#pragma once

// Internal to zarvo_transport: never installed. What senders, receivers and the
// authentication handler do with their cppzmq sockets.

#include <zmq.hpp>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "transport/Options.h"

namespace zarvo::transport::internal {

/// A socket of the library's context with options applied: high-water marks, linger, send
/// timeout, largest message, and the CURVE role options.security gives. A server with
/// allowed clients gets an authentication domain in domain, which must outlive the socket.
zmq::socket_t openSocket(zmq::socket_type type, const Options& options, std::shared_ptr<const std::string>& domain);
/// Binds socket to endpoint; returns the endpoint bound, with the port the OS chose.
std::string bind(zmq::socket_t& socket, const std::string& endpoint);
/// Connects socket to endpoint.
void connect(zmq::socket_t& socket, const std::string& endpoint);

/// What receiveParts found.
enum class Receipt {
    None,     ///< No message within the wait, or a signal came first.
    Whole,    ///< A message of at most the parts asked for.
    TooLong,  ///< A message of more parts, read to its end and dropped.
};

/// Waits up to wait (negative: no limit) for a message and reads all its parts into parts
/// (emptied first). One of more than mostParts parts is read to its end, so that the next
/// receive starts at a message's start, and left as no parts: zmq::recv_multipart_n would
/// leave it half read. Throws cppzmq's zmq::error_t on a failure of ZeroMQ's.
Receipt receiveParts(zmq::socket_ref socket, std::vector<zmq::message_t>& parts, size_t mostParts,
                     std::chrono::milliseconds wait);

}  // namespace zarvo::transport::internal
