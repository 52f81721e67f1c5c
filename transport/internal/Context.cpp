#include "transport/internal/Context.h"

#include <algorithm>
#include <array>
#include <thread>
#include <zmq_addon.hpp>

#include "transport/internal/Check.h"
#include "transport/internal/Sockets.h"

namespace zarvo::transport::internal {

namespace {

// The part of a ZAP request that holds a CURVE client's 32-byte public key; before it:
// version, request id, domain, address, routing id, mechanism.
constexpr size_t kCredentialsPart = 6;
// The most parts a ZAP request of ZeroMQ's has: PLAIN's, with a user name and a password.
constexpr size_t kMostRequestParts = 8;

std::string text(const zmq::message_t& part) { return std::string(part.data<char>(), part.size()); }

}  // namespace

Context& Context::instance() {
    static Context context;
    return context;
}

Context::Context() { ZARVO_ZMQ_TRY(m_context = std::make_unique<zmq::context_t>(), "Cannot make a ZeroMQ context"); }

Context::~Context() {
    // zmq_ctx_term waits for every socket to close and hand over its messages; a socket
    // that is never closed would make it wait for ever, so it waits on a thread of its own,
    // which is left behind (with the process ending anyway) once the longest linger is over.
    std::thread ending([this, context = m_context.get()] {
        context->close();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        m_endedChanged.notify_all();
    });
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool ended =
        m_endedChanged.wait_for(lock, m_longestLinger + std::chrono::milliseconds(100), [this] { return m_ended; });
    lock.unlock();
    if (ended) {
        ending.join();
    } else {
        ending.detach();
        (void)m_context.release();  // the thread left behind still ends it
    }
}

void Context::noteLinger(std::chrono::milliseconds linger) {
    // A linger without limit waits a minute at the end, no more.
    constexpr std::chrono::milliseconds kUnlimited = std::chrono::minutes(1);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_longestLinger = std::max(m_longestLinger, linger.count() < 0 ? kUnlimited : std::min(linger, kUnlimited));
}

std::shared_ptr<const std::string> Context::allowClients(const std::vector<std::string>& publicKeys) {
    std::set<std::string> keys;
    for (const std::string& key : publicKeys) {
        std::array<std::uint8_t, 32> binary{};
        if (key.size() != 40 || zmq_z85_decode(binary.data(), key.c_str()) == nullptr)
            ZARVO_THROW("Allowed client key '" << Exception::printable(key) << "' is no Z85 key of 40 characters");
        keys.emplace(reinterpret_cast<const char*>(binary.data()), binary.size());
    }
    std::string domain;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_handlerStarted) {
            // Bound before the first server socket uses the domain, so that ZeroMQ asks it.
            zmq::socket_t handler;
            ZARVO_ZMQ_TRY(handler = zmq::socket_t(*m_context, zmq::socket_type::rep),
                          "Cannot make the authentication socket");
            ZARVO_ZMQ_TRY(handler.bind("inproc://zeromq.zap.01"), "Cannot bind the authentication handler");
            std::thread([this, handler = std::move(handler)]() mutable { authenticate(handler); }).detach();
            m_handlerStarted = true;
        }
        domain = "zarvo-allowed-" + std::to_string(m_nextDomain++);
        m_allowed.emplace(domain, std::move(keys));
    }
    return std::shared_ptr<const std::string>(new std::string(std::move(domain)), [this](const std::string* name) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_allowed.erase(*name);
        delete name;
    });
}

bool Context::allowed(const std::string& domain, const std::string& clientKey) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto entry = m_allowed.find(domain);
    // A server without a list of its own lets in every client that knows its key.
    return entry == m_allowed.end() || entry->second.count(clientKey) != 0;
}

void Context::authenticate(zmq::socket_t& handler) {
    std::vector<zmq::message_t> request;
    for (;;) {
        try {
            if (receiveParts(handler, request, kMostRequestParts, std::chrono::milliseconds(-1)) != Receipt::Whole ||
                request.size() < 2)
                continue;
            const bool curve = request.size() > kCredentialsPart && text(request[5]) == "CURVE";
            const bool ok = !curve || allowed(text(request[2]), text(request[kCredentialsPart]));
            const std::array<zmq::const_buffer, 6> reply{
                zmq::str_buffer("1.0"),
                zmq::buffer(request[1].data(), request[1].size()),
                ok ? zmq::str_buffer("200") : zmq::str_buffer("400"),
                ok ? zmq::str_buffer("OK") : zmq::str_buffer("Client key not allowed"),
                zmq::const_buffer(),
                zmq::const_buffer()};
            (void)zmq::send_multipart(handler, reply);
        } catch (const zmq::error_t& error) {
            // Only the end of the context ends the handler (its socket closes with it);
            // anything else is a request lost.
            if (error.num() == ETERM) return;
        }
    }
}

}  // namespace zarvo::transport::internal
