#include "transport/internal/Sockets.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "transport/internal/Check.h"
#include "transport/internal/Context.h"

namespace zarvo::transport::internal {

namespace {

int milliseconds(std::chrono::milliseconds duration) {
    return duration.count() < 0 ? -1 : static_cast<int>(std::min<long long>(duration.count(), INT32_MAX));
}

// Sets a socket option; what names it in a failure.
template <class Option, class Value>
void set(zmq::socket_t& socket, Option option, const Value& value, const char* what) {
    ZARVO_ZMQ_TRY(socket.set(option, value), "Cannot set the " << what);
}

// A CURVE key from its Z85 text, refused clearly before ZeroMQ sees it.
template <class KeyOption>
void setKey(zmq::socket_t& socket, KeyOption option, const std::string& key, const char* what) {
    std::array<std::uint8_t, 32> binary{};
    if (key.size() != 40 || zmq_z85_decode(binary.data(), key.c_str()) == nullptr)
        ZARVO_THROW("The " << what << " is no Z85 key of 40 characters");
    set(socket, option, zmq::buffer(binary), what);
}

// The CURVE role security gives, if any.
void secure(zmq::socket_t& socket, const Security& security, std::shared_ptr<const std::string>& domain) {
    if (security.server && !security.serverPublicKey.empty())
        ZARVO_THROW("Security names both a server key pair and a server to connect to: a socket is one or the other");
    if (!security.server && security.serverPublicKey.empty()) {
        if (!security.allowedClients.empty()) ZARVO_THROW("Allowed clients need a server key pair");
        return;
    }
    if (zmq_has("curve") == 0) ZARVO_THROW("This ZeroMQ library has no CURVE encryption");
    if (security.server) {
        if (!security.allowedClients.empty()) {
            domain = Context::instance().allowClients(security.allowedClients);
            set(socket, zmq::sockopt::zap_domain, *domain, "authentication domain");
        }
        set(socket, zmq::sockopt::curve_server, true, "CURVE server role");
        setKey(socket, zmq::sockopt::curve_secretkey, security.server->secretKey, "server's secret key");
        return;
    }
    const KeyPair client = security.client ? *security.client : KeyPair::generate();
    setKey(socket, zmq::sockopt::curve_serverkey, security.serverPublicKey, "server's public key");
    setKey(socket, zmq::sockopt::curve_publickey, client.publicKey, "client's public key");
    setKey(socket, zmq::sockopt::curve_secretkey, client.secretKey, "client's secret key");
}

}  // namespace

zmq::socket_t openSocket(zmq::socket_type type, const Options& options, std::shared_ptr<const std::string>& domain) {
    zmq::socket_t socket;
    ZARVO_ZMQ_TRY(socket = zmq::socket_t(Context::instance().get(), type), "Cannot make a ZeroMQ socket");
    set(socket, zmq::sockopt::sndhwm, options.sendHighWaterMark, "send high-water mark");
    set(socket, zmq::sockopt::rcvhwm, options.receiveHighWaterMark, "receive high-water mark");
    set(socket, zmq::sockopt::linger, milliseconds(options.linger), "linger");
    Context::instance().noteLinger(options.linger);
    set(socket, zmq::sockopt::sndtimeo, milliseconds(options.sendTimeout), "send timeout");
    set(socket, zmq::sockopt::maxmsgsize, std::max<std::int64_t>(options.maxMessageSize, -1), "largest message size");
    secure(socket, options.security, domain);
    return socket;
}

std::string bind(zmq::socket_t& socket, const std::string& endpoint) {
    ZARVO_ZMQ_TRY(socket.bind(endpoint), "Cannot bind to " << endpoint);
    std::string bound;
    ZARVO_ZMQ_TRY(bound = socket.get(zmq::sockopt::last_endpoint), "Cannot read the endpoint bound to " << endpoint);
    return bound;
}

void connect(zmq::socket_t& socket, const std::string& endpoint) {
    ZARVO_ZMQ_TRY(socket.connect(endpoint), "Cannot connect to " << endpoint);
}

Receipt receiveParts(zmq::socket_ref socket, std::vector<zmq::message_t>& parts, size_t mostParts,
                     std::chrono::milliseconds wait) {
    parts.clear();
    parts.reserve(mostParts);
    parts.emplace_back();
    socket.set(zmq::sockopt::rcvtimeo, milliseconds(wait));
    try {
        if (!socket.recv(parts[0])) {
            parts.clear();
            return Receipt::None;
        }
    } catch (const zmq::error_t& error) {
        parts.clear();
        if (error.num() == EINTR) return Receipt::None;
        throw;
    }
    // ZeroMQ delivers a message whole: the other parts are there.
    while (parts.back().more()) {
        if (parts.size() == mostParts) {
            while (parts.back().more()) (void)socket.recv(parts.back());
            parts.clear();
            return Receipt::TooLong;
        }
        parts.emplace_back();
        (void)socket.recv(parts.back());
    }
    return Receipt::Whole;
}

}  // namespace zarvo::transport::internal
