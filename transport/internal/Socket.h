#pragma once

// Internal to zarvo_transport: never installed.

#include <string>

#include "transport/Options.h"

namespace zarvo::transport::internal {

/// One ZeroMQ socket of the library's context with the options applied, closed when
/// it goes. What senders and receivers share.
class Socket {
public:
    /// A socket of ZeroMQ's type socketType with options applied: high-water marks,
    /// linger, send timeout, largest message, and the CURVE role options.security gives.
    Socket(int socketType, const Options& options);
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    /// Closes the socket.
    ~Socket();

    /// Binds to endpoint; returns the endpoint bound, with the port the OS chose.
    std::string bind(const std::string& endpoint);
    /// Connects to endpoint.
    void connect(const std::string& endpoint);
    /// Sets a socket option of ZeroMQ's; what names the option in a failure.
    void set(int option, const void* value, size_t size, const char* what);
    /// Sets an int option.
    void set(int option, int value, const char* what) { set(option, &value, sizeof value, what); }

    /// The ZeroMQ socket.
    void* get() const { return m_socket; }

private:
    void secure(const Security& security);

    void* m_socket;
    std::string m_domain;  // the authentication domain of an allowed-clients list
};

}  // namespace zarvo::transport::internal
