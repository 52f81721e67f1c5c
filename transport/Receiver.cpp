#include "transport/Receiver.h"

#include <zmq.hpp>

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "transport/WireFormat.h"
#include "transport/internal/Check.h"
#include "transport/internal/Socket.h"

namespace zarvo::transport {

namespace {

using Clock = std::chrono::steady_clock;

// The most parts a message of any kind has; a message with more is refused unread.
constexpr size_t kMostParts = 5;
// Senders remembered per topic, the most recent first; an older one that comes back
// after that many others counts as a restart.
constexpr size_t kSendersPerTopic = 16;

// What has come from one sender on one topic.
struct Seen {
    std::uint64_t sender;
    std::uint64_t next;  // the sequence number expected next
};

}  // namespace

struct Receiver::Impl {
    Impl(int socketType, const Options& options, bool countGaps)
        : socket(socketType, options), drainLimit(std::max(options.receiveHighWaterMark, 1000)), countGaps(countGaps) {}

    // Waits up to timeoutMs (negative: no limit) for a message and reads its parts;
    // false if none came. A message with too many parts is read to its end, counted as
    // malformed, and left as no parts.
    bool read(std::vector<zmq::message_t>& parts, long timeoutMs) {
        parts.clear();
        parts.reserve(kMostParts);
        parts.emplace_back();
        // The wait is ZeroMQ's own receive timeout, set only when it changes.
        const int wait = static_cast<int>(std::min<long>(timeoutMs, INT32_MAX));
        if (wait != receiveTimeout) {
            socket.set(ZMQ_RCVTIMEO, wait, "receive timeout");
            receiveTimeout = wait;
        }
        if (zmq_msg_recv(parts[0].handle(), socket.get(), 0) < 0) {
            if (zmq_errno() != EAGAIN && zmq_errno() != EINTR) ZARVO_ZMQ_CHECK(-1, "Cannot receive");
            return false;
        }
        // ZeroMQ delivers a message whole: the other parts are there.
        while (parts.back().more()) {
            if (parts.size() == kMostParts) {
                while (parts.back().more())
                    ZARVO_ZMQ_CHECK(zmq_msg_recv(parts.back().handle(), socket.get(), 0), "Cannot receive");
                parts.clear();
                ++stats.malformed;
                return true;
            }
            parts.emplace_back();
            ZARVO_ZMQ_CHECK(zmq_msg_recv(parts.back().handle(), socket.get(), 0), "Cannot receive");
        }
        return true;
    }

    // Decodes parts over their own buffers, which the pixels of a frame keep alive;
    // counts the message as received or malformed.
    std::optional<Message> decode(std::vector<zmq::message_t>&& received) {
        if (received.empty()) return std::nullopt;
        const auto held = std::make_shared<std::vector<zmq::message_t>>(std::move(received));
        std::vector<WireFormat::Part> parts;
        parts.reserve(held->size());
        for (zmq::message_t& part : *held)
            parts.push_back({part.data<char>(), part.size(), std::shared_ptr<const void>(held, &part)});
        try {
            Message message = WireFormat::decode(parts);
            account(message);
            return message;
        } catch (const std::exception&) {
            // The decoder's refusals, and whatever a registered type's reader throws on bad bytes.
            ++stats.malformed;
            return std::nullopt;
        }
    }

    // Counts the message, the gap before it in its sender's sequence, and a new sender on its topic.
    void account(const Envelope& message) {
        ++stats.received;
        std::vector<Seen>& senders = topics[message.topic];
        const auto seen = std::find_if(senders.begin(), senders.end(),
                                       [&](const Seen& entry) { return entry.sender == message.sender; });
        if (seen == senders.end()) {
            // The first message of a sender is where its count starts: what it sent
            // before this receiver saw it was never on the way here.
            if (!senders.empty()) ++stats.restarts;
            if (senders.size() == kSendersPerTopic) senders.pop_back();
            senders.insert(senders.begin(), Seen{message.sender, message.sequence + 1});
            return;
        }
        if (countGaps && message.sequence > seen->next) stats.dropped += message.sequence - seen->next;
        seen->next = std::max(seen->next, message.sequence + 1);
        std::rotate(senders.begin(), seen, seen + 1);
    }

    internal::Socket socket;
    const int drainLimit;
    int receiveTimeout = -1;  // ZMQ_RCVTIMEO as last set
    const bool countGaps;
    Stats stats;
    std::unordered_map<std::string, std::vector<Seen>> topics;
};

Receiver::Receiver(int socketType, const Options& options, bool countGaps)
    : m_impl(std::make_unique<Impl>(socketType, options, countGaps)) {}

Receiver::~Receiver() = default;

std::string Receiver::bind(const std::string& endpoint) { return m_impl->socket.bind(endpoint); }

void Receiver::connect(const std::string& endpoint) { m_impl->socket.connect(endpoint); }

std::optional<Message> Receiver::receive(std::chrono::milliseconds timeout) {
    // A year stands for longer waits, whose deadline the clock could not hold.
    timeout = std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(24 * 365));
    const auto deadline = Clock::now() + timeout;
    // Once the time is up only what is queued is read, and at most drainLimit messages
    // of it: malformed messages arriving without end cannot hold the caller.
    int pastDeadline = 0;
    for (;;) {
        long left = -1;
        if (timeout.count() >= 0) {
            left = std::max(
                0L, static_cast<long>(
                        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count()));
            if (left == 0 && pastDeadline++ == m_impl->drainLimit) return std::nullopt;
        }
        std::vector<zmq::message_t> parts;
        if (!m_impl->read(parts, left)) {
            if (timeout.count() >= 0 && Clock::now() >= deadline) return std::nullopt;
            continue;
        }
        if (std::optional<Message> message = m_impl->decode(std::move(parts))) return message;
    }
}

std::optional<Message> Receiver::receiveLatest(std::chrono::milliseconds timeout) {
    std::optional<Message> latest = receive(timeout);
    if (!latest) return latest;
    // Bounded, so that a sender faster than this loop cannot keep it here.
    for (int i = 0; i < m_impl->drainLimit; ++i) {
        std::optional<Message> next = receive(std::chrono::milliseconds(0));
        if (!next) break;
        latest = std::move(next);
    }
    return latest;
}

Stats Receiver::stats() const { return m_impl->stats; }

void* Receiver::socket() const { return m_impl->socket.get(); }

}  // namespace zarvo::transport
