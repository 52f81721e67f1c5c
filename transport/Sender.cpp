#include "transport/Sender.h"

#include <zmq_addon.hpp>

#include <chrono>
#include <random>
#include <unordered_map>

#include "core/datatypes/UnixTime.h"
#include "transport/WireFormat.h"
#include "transport/internal/Check.h"
#include "transport/internal/Sockets.h"

namespace zarvo::transport {

namespace {

// Parts below this size are copied into their message: for them, the copy costs less
// than sharing the bytes with ZeroMQ. Pixel blocks of frames go by reference.
constexpr size_t kByReference = 1024;

// What ZeroMQ calls when it is done with a part sent by reference: the part's owner goes.
void releaseOwner(void*, void* owner) { delete static_cast<std::shared_ptr<const void>*>(owner); }

std::uint64_t randomId() {
    std::random_device device;
    return (std::uint64_t{device()} << 32) ^ device();
}

zmq::message_t message(const WireFormat::Part& part) {
    if (!part.owner || part.size < kByReference) return zmq::message_t(part.data, part.size);
    auto* owner = new std::shared_ptr<const void>(part.owner);
    try {
        return zmq::message_t(const_cast<char*>(part.data), part.size, releaseOwner, owner);
    } catch (...) {
        delete owner;
        throw;
    }
}

}  // namespace

struct Sender::Impl {
    Impl(zmq::socket_type type, const Options& options)
        : socket(internal::openSocket(type, options, domain)), sendTimeout(options.sendTimeout), id(randomId()) {}

    // Sends what encode makes of the topic's next envelope; the sequence number moves on
    // only once the whole message is out.
    template <class Encode>
    void send(const std::string& topic, Encode&& encode) {
        std::uint64_t& sequence = sequences[topic];
        std::vector<zmq::message_t> messages;
        for (const WireFormat::Part& part :
             encode(Envelope{topic, Kind::End, sequence, exp::UnixTime::nowNanoseconds(), id}))
            messages.push_back(message(part));
        zmq::send_result_t sent;
        ZARVO_ZMQ_TRY(sent = zmq::send_multipart(socket, messages),
                      "Cannot send the message on topic '" << Exception::printable(topic) << "'");
        // ZeroMQ takes a message whole or not at all.
        if (!sent)
            ZARVO_THROW("No receiver took the message " << sequence << " on topic '" << Exception::printable(topic)
                                                        << "' within " << sendTimeout.count()
                                                        << " ms; it was not sent");
        ++sequence;
    }

    std::shared_ptr<const std::string> domain;  // forgotten after the socket closes, which asks for it
    zmq::socket_t socket;
    std::chrono::milliseconds sendTimeout;
    std::uint64_t id;
    std::unordered_map<std::string, std::uint64_t> sequences;  // the next one per topic
};

Sender::Sender(int socketType, const Options& options)
    : m_impl(std::make_unique<Impl>(static_cast<zmq::socket_type>(socketType), options)) {}

Sender::~Sender() = default;

std::string Sender::bind(const std::string& endpoint) { return internal::bind(m_impl->socket, endpoint); }

void Sender::connect(const std::string& endpoint) { internal::connect(m_impl->socket, endpoint); }

void Sender::send(const std::string& topic, const exp::Variant& value) {
    m_impl->send(topic, [&](const Envelope& envelope) { return WireFormat::encode(envelope, value); });
}

void Sender::send(const std::string& topic, const exp::DataStorage<std::string>& storage) {
    m_impl->send(topic, [&](const Envelope& envelope) { return WireFormat::encode(envelope, storage); });
}

void Sender::send(const std::string& topic, const exp::Frame& frame) {
    m_impl->send(topic, [&](const Envelope& envelope) { return WireFormat::encode(envelope, frame); });
}

void Sender::sendEnd(const std::string& topic) {
    m_impl->send(topic, [](const Envelope& envelope) { return WireFormat::encodeEnd(envelope); });
}

std::uint64_t Sender::senderId() const { return m_impl->id; }

void* Sender::socket() const { return m_impl->socket.handle(); }

}  // namespace zarvo::transport
