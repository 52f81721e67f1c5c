#include "transport/Sender.h"

#include <zmq.hpp>

#include <chrono>
#include <random>
#include <unordered_map>

#include "transport/WireFormat.h"
#include "transport/internal/Check.h"
#include "transport/internal/Socket.h"

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

std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
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
    Impl(int socketType, const Options& options)
        : socket(socketType, options), sendTimeout(options.sendTimeout), id(randomId()) {}

    // Sends what encode makes of the topic's next envelope; the sequence number moves on
    // only once the whole message is out.
    template <class Encode>
    void send(const std::string& topic, Encode&& encode) {
        std::uint64_t& sequence = sequences[topic];
        const std::vector<WireFormat::Part> parts = encode(Envelope{topic, Kind::End, sequence, now(), id});
        for (size_t i = 0; i < parts.size(); ++i) {
            zmq::message_t part = message(parts[i]);
            if (zmq_msg_send(part.handle(), socket.get(), i + 1 < parts.size() ? ZMQ_SNDMORE : 0) >= 0) continue;
            // ZeroMQ takes a message whole or not at all: a timeout can only hit the first part.
            if (zmq_errno() == EAGAIN && i == 0)
                ZARVO_THROW("No receiver took the message " << sequence << " on topic '" << Exception::printable(topic)
                                                            << "' within " << sendTimeout.count()
                                                            << " ms; it was not sent");
            ZARVO_ZMQ_CHECK(
                -1, "Cannot send part " << i << " of the message on topic '" << Exception::printable(topic) << "'");
        }
        ++sequence;
    }

    internal::Socket socket;
    std::chrono::milliseconds sendTimeout;
    std::uint64_t id;
    std::unordered_map<std::string, std::uint64_t> sequences;  // the next one per topic
};

Sender::Sender(int socketType, const Options& options) : m_impl(std::make_unique<Impl>(socketType, options)) {}

Sender::~Sender() = default;

std::string Sender::bind(const std::string& endpoint) { return m_impl->socket.bind(endpoint); }

void Sender::connect(const std::string& endpoint) { m_impl->socket.connect(endpoint); }

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

void* Sender::socket() const { return m_impl->socket.get(); }

}  // namespace zarvo::transport
