#pragma once

#include <chrono>

#include "transport/Sender.h"

namespace zarvo::transport {

/// The sending side of a live stream (ZeroMQ XPUB, which SUB sockets read): a subscriber
/// that falls behind loses messages, and counts them.
class ZARVO_EXPORT Publisher : public Sender {
public:
    /// A publisher with these options; bind or connect it next.
    explicit Publisher(const Options& options = {});
    /// Waits up to timeout (negative: for ever) until a subscriber has joined; true if one
    /// has. Sending before then loses the message (ZeroMQ's slow joiner).
    bool waitForSubscriber(std::chrono::milliseconds timeout);

private:
    int m_subscriptions = 0;  // topics subscribed to, as ZeroMQ has told so far
};

}  // namespace zarvo::transport
