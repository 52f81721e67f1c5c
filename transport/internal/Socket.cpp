#include "transport/internal/Socket.h"

#include <array>

#include "transport/internal/Check.h"
#include "transport/internal/Context.h"

namespace zarvo::transport::internal {

namespace {

int milliseconds(std::chrono::milliseconds duration) {
    return duration.count() < 0 ? -1 : static_cast<int>(std::min<long long>(duration.count(), INT32_MAX));
}

// A CURVE key option from its Z85 text, refused clearly before ZeroMQ sees it.
void setKey(Socket& socket, int option, const std::string& key, const char* what) {
    std::array<std::uint8_t, 32> binary{};
    if (key.size() != 40 || zmq_z85_decode(binary.data(), key.c_str()) == nullptr)
        ZARVO_THROW("The " << what << " is no Z85 key of 40 characters");
    socket.set(option, binary.data(), binary.size(), what);
}

}  // namespace

Socket::Socket(int socketType, const Options& options) : m_socket(zmq_socket(Context::instance().get(), socketType)) {
    if (m_socket == nullptr) ZARVO_THROW("Cannot make a ZeroMQ socket: " << zmq_strerror(zmq_errno()));
    try {
        set(ZMQ_SNDHWM, options.sendHighWaterMark, "send high-water mark");
        set(ZMQ_RCVHWM, options.receiveHighWaterMark, "receive high-water mark");
        set(ZMQ_LINGER, milliseconds(options.linger), "linger");
        Context::instance().noteLinger(options.linger);
        set(ZMQ_SNDTIMEO, milliseconds(options.sendTimeout), "send timeout");
        const std::int64_t largest = options.maxMessageSize < 0 ? -1 : options.maxMessageSize;
        set(ZMQ_MAXMSGSIZE, &largest, sizeof largest, "largest message size");
        secure(options.security);
    } catch (...) {
        zmq_close(m_socket);
        if (!m_domain.empty()) Context::instance().forgetDomain(m_domain);
        throw;
    }
}

Socket::~Socket() {
    zmq_close(m_socket);
    if (!m_domain.empty()) Context::instance().forgetDomain(m_domain);
}

void Socket::secure(const Security& security) {
    if (security.server && !security.serverPublicKey.empty())
        ZARVO_THROW("Security names both a server key pair and a server to connect to: a socket is one or the other");
    if (!security.server && security.serverPublicKey.empty()) {
        if (!security.allowedClients.empty()) ZARVO_THROW("Allowed clients need a server key pair");
        return;
    }
    if (zmq_has("curve") == 0) ZARVO_THROW("This ZeroMQ library has no CURVE encryption");
    if (security.server) {
        if (!security.allowedClients.empty()) {
            m_domain = Context::instance().allowClients(security.allowedClients);
            set(ZMQ_ZAP_DOMAIN, m_domain.data(), m_domain.size(), "authentication domain");
        }
        set(ZMQ_CURVE_SERVER, 1, "CURVE server role");
        setKey(*this, ZMQ_CURVE_SECRETKEY, security.server->secretKey, "server's secret key");
        return;
    }
    const KeyPair client = security.client ? *security.client : KeyPair::generate();
    setKey(*this, ZMQ_CURVE_SERVERKEY, security.serverPublicKey, "server's public key");
    setKey(*this, ZMQ_CURVE_PUBLICKEY, client.publicKey, "client's public key");
    setKey(*this, ZMQ_CURVE_SECRETKEY, client.secretKey, "client's secret key");
}

std::string Socket::bind(const std::string& endpoint) {
    ZARVO_ZMQ_CHECK(zmq_bind(m_socket, endpoint.c_str()), "Cannot bind to " << endpoint);
    std::array<char, 1024> bound{};
    size_t size = bound.size();
    ZARVO_ZMQ_CHECK(zmq_getsockopt(m_socket, ZMQ_LAST_ENDPOINT, bound.data(), &size),
                    "Cannot read the endpoint bound to " << endpoint);
    return bound.data();
}

void Socket::connect(const std::string& endpoint) {
    ZARVO_ZMQ_CHECK(zmq_connect(m_socket, endpoint.c_str()), "Cannot connect to " << endpoint);
}

void Socket::set(int option, const void* value, size_t size, const char* what) {
    ZARVO_ZMQ_CHECK(zmq_setsockopt(m_socket, option, value, size), "Cannot set the " << what);
}

}  // namespace zarvo::transport::internal
