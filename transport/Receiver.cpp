#include "transport/Receiver.h"

#include <algorithm>
#include <new>
#include <unordered_map>
#include <vector>

#include "transport/Deadline.h"
#include "transport/WireFormat.h"
#include "transport/internal/Check.h"
#include "transport/internal/Sockets.h"

namespace zarvo::transport {

namespace {

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
    Impl(zmq::socket_type type, const Options& options, bool countGaps)
        : socket(internal::openSocket(type, options, domain)),
          drainLimit(std::max(options.receiveHighWaterMark, 1000)),
          countGaps(countGaps) {}

    // Waits up to wait (negative: no limit) for a message and reads its parts; false if
    // none came. A message with too many parts is counted as malformed and left as no parts.
    bool read(std::vector<zmq::message_t>& parts, std::chrono::milliseconds wait) {
        internal::Receipt receipt = internal::Receipt::None;
        ZARVO_ZMQ_TRY(receipt = internal::receiveParts(socket, parts, kMostParts, wait), "Cannot receive");
        if (receipt == internal::Receipt::TooLong) ++stats.malformed;
        return receipt != internal::Receipt::None;
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
        } catch (const std::bad_alloc&) {
            // Memory running out is no fault of the message's.
            throw;
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

    std::shared_ptr<const std::string> domain;  // forgotten after the socket closes, which asks for it
    zmq::socket_t socket;
    const int drainLimit;
    const bool countGaps;
    Stats stats;
    std::unordered_map<std::string, std::vector<Seen>> topics;
};

Receiver::Receiver(int socketType, const Options& options, bool countGaps)
    : m_impl(std::make_unique<Impl>(static_cast<zmq::socket_type>(socketType), options, countGaps)) {}

Receiver::~Receiver() = default;

std::string Receiver::bind(const std::string& endpoint) { return internal::bind(m_impl->socket, endpoint); }

void Receiver::connect(const std::string& endpoint) { internal::connect(m_impl->socket, endpoint); }

std::optional<Message> Receiver::receive(std::chrono::milliseconds timeout) {
    const Deadline deadline(timeout);
    // Once the time is up only what is queued is read, and at most drainLimit messages
    // of it: malformed messages arriving without end cannot hold the caller.
    for (int pastDeadline = 0; pastDeadline <= m_impl->drainLimit;) {
        const std::chrono::milliseconds left = deadline.left();
        if (left.count() == 0) ++pastDeadline;
        std::vector<zmq::message_t> parts;
        if (!m_impl->read(parts, left)) {
            if (deadline.passed()) return std::nullopt;
            continue;
        }
        if (std::optional<Message> message = m_impl->decode(std::move(parts))) return message;
    }
    return std::nullopt;
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

void* Receiver::socket() const { return m_impl->socket.handle(); }

}  // namespace zarvo::transport
