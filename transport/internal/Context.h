#pragma once

// Internal to zarvo_transport: never installed.

#include <zmq.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace zarvo::transport::internal {

/// The one ZeroMQ context of the process, shared by every socket of the library, so
/// that inproc endpoints connect them. It ends with the process, after the sockets of
/// static objects made after it: ending it hands over what closed sockets still hold,
/// for as long as their linger allows, so that a program that sends and ends at once
/// loses nothing. A socket left open (leaked) cannot hold the end for longer than the
/// longest linger either. With it comes ZeroMQ's authentication handler (the ZAP
/// protocol on inproc://zeromq.zap.01), started on first use, which lets a CURVE server
/// accept only the client keys it was given.
class Context {
public:
    /// The process's context.
    static Context& instance();

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    /// Ends the context, waiting at most the longest linger of the sockets made in it.
    ~Context();

    /// The ZeroMQ context, for the library's sockets.
    zmq::context_t& get() const { return *m_context; }
    /// Notes the linger of a new socket (negative: no limit), which the end waits for.
    void noteLinger(std::chrono::milliseconds linger);

    /// The name of a new authentication domain that accepts exactly these clients (Z85
    /// public keys), forgotten when the name goes; throws for a key that is not one.
    /// Starts the handler on first use.
    std::shared_ptr<const std::string> allowClients(const std::vector<std::string>& publicKeys);

private:
    Context();
    // Answers authentication requests for as long as the context runs.
    void authenticate(zmq::socket_t& handler);
    // Whether domain lets the client with this 32-byte public key in.
    bool allowed(const std::string& domain, const std::string& clientKey);

    std::unique_ptr<zmq::context_t> m_context;
    std::mutex m_mutex;
    bool m_handlerStarted = false;
    bool m_ended = false;  // zmq_ctx_term has returned
    std::condition_variable m_endedChanged;
    std::chrono::milliseconds m_longestLinger{0};
    std::uint64_t m_nextDomain = 0;
    std::map<std::string, std::set<std::string>> m_allowed;  // domain -> binary client keys
};

}  // namespace zarvo::transport::internal
