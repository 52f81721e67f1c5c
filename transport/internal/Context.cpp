#include "transport/internal/Context.h"

#include <zmq.hpp>

#include <algorithm>
#include <array>
#include <thread>

#include "transport/internal/Check.h"

namespace zarvo::transport::internal {

namespace {

// The part of a ZAP request that holds a CURVE client's 32-byte public key; before it:
// version, request id, domain, address, routing id, mechanism.
constexpr size_t kCredentialsPart = 6;

std::string text(const zmq::message_t& part) { return std::string(part.data<char>(), part.size()); }

}  // namespace

Context& Context::instance() {
    static Context context;
    return context;
}

Context::Context() : m_context(zmq_ctx_new()) {
    if (m_context == nullptr) ZARVO_THROW("Cannot make a ZeroMQ context: " << zmq_strerror(zmq_errno()));
}

Context::~Context() {
    // zmq_ctx_term waits for every socket to close and hand over its messages; a socket
    // that is never closed would make it wait for ever, so it waits on a thread of its own,
    // which is left behind (with the process ending anyway) once the longest linger is over.
    std::thread ending([this] {
        zmq_ctx_term(m_context);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        m_endedChanged.notify_all();
    });
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool ended =
        m_endedChanged.wait_for(lock, m_longestLinger + std::chrono::milliseconds(100), [this] { return m_ended; });
    lock.unlock();
    if (ended) ending.join();
    else ending.detach();
}

void Context::noteLinger(std::chrono::milliseconds linger) {
    // A linger without limit waits a minute at the end, no more.
    constexpr std::chrono::milliseconds kUnlimited = std::chrono::minutes(1);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_longestLinger = std::max(m_longestLinger, linger.count() < 0 ? kUnlimited : std::min(linger, kUnlimited));
}

std::string Context::allowClients(const std::vector<std::string>& publicKeys) {
    std::set<std::string> keys;
    for (const std::string& key : publicKeys) {
        std::array<std::uint8_t, 32> binary{};
        if (key.size() != 40 || zmq_z85_decode(binary.data(), key.c_str()) == nullptr)
            ZARVO_THROW("Allowed client key '" << Exception::printable(key) << "' is no Z85 key of 40 characters");
        keys.emplace(reinterpret_cast<const char*>(binary.data()), binary.size());
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_handlerStarted) {
        // Bound before the first server socket uses the domain, so that ZeroMQ asks it.
        void* handler = zmq_socket(m_context, ZMQ_REP);
        if (handler == nullptr) ZARVO_THROW("Cannot make the authentication socket: " << zmq_strerror(zmq_errno()));
        if (zmq_bind(handler, "inproc://zeromq.zap.01") < 0) {
            const int error = zmq_errno();
            zmq_close(handler);
            ZARVO_THROW("Cannot bind the authentication handler: " << zmq_strerror(error));
        }
        std::thread([this, handler] { authenticate(handler); }).detach();
        m_handlerStarted = true;
    }
    const std::string domain = "zarvo-allowed-" + std::to_string(m_nextDomain++);
    m_allowed.emplace(domain, std::move(keys));
    return domain;
}

void Context::forgetDomain(const std::string& domain) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_allowed.erase(domain);
}

bool Context::allowed(const std::string& domain, const std::string& clientKey) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto entry = m_allowed.find(domain);
    // A server without a list of its own lets in every client that knows its key.
    return entry == m_allowed.end() || entry->second.count(clientKey) != 0;
}

void Context::authenticate(void* handler) {
    for (;;) {
        std::vector<zmq::message_t> request;
        int more = 1;
        while (more != 0) {
            request.emplace_back();
            if (zmq_msg_recv(request.back().handle(), handler, 0) < 0) {
                // Only the end of the context ends the handler; anything else is a request lost.
                if (zmq_errno() == ETERM) {
                    zmq_close(handler);
                    return;
                }
                request.clear();
                break;
            }
            more = request.back().more() ? 1 : 0;
        }
        if (request.size() < 2) continue;
        const bool curve = request.size() > kCredentialsPart && text(request[5]) == "CURVE";
        const bool ok = !curve || allowed(text(request[2]), text(request[kCredentialsPart]));
        const std::array<std::string, 6> reply{
            "1.0", text(request[1]), ok ? "200" : "400", ok ? "OK" : "Client key not allowed", "", ""};
        for (size_t i = 0; i < reply.size(); ++i)
            zmq_send(handler, reply[i].data(), reply[i].size(), i + 1 < reply.size() ? ZMQ_SNDMORE : 0);
    }
}

}  // namespace zarvo::transport::internal
