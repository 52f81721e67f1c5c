#include "transport/Publisher.h"

#include <zmq.hpp>

#include <algorithm>

#include "transport/internal/Check.h"

namespace zarvo::transport {

Publisher::Publisher(const Options& options) : Sender(ZMQ_XPUB, options) {}

bool Publisher::waitForSubscriber(std::chrono::milliseconds timeout) {
    // A year stands for longer waits, whose deadline the clock could not hold.
    const auto deadline =
        std::chrono::steady_clock::now() + std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(24 * 365));
    for (;;) {
        // XPUB hands on the first subscription to a topic (byte 1, then the prefix) and
        // the last unsubscription from it (byte 0).
        zmq::message_t note;
        while (zmq_msg_recv(note.handle(), socket(), ZMQ_DONTWAIT) >= 0) {
            if (note.size() > 0) m_subscriptions += note.data<unsigned char>()[0] == 1 ? 1 : -1;
        }
        if (zmq_errno() != EAGAIN) ZARVO_ZMQ_CHECK(-1, "Cannot read subscriptions");
        if (m_subscriptions > 0) return true;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        zmq_pollitem_t item{socket(), 0, ZMQ_POLLIN, 0};
        if (zmq_poll(&item, 1, static_cast<long>(left.count())) < 0 && zmq_errno() != EINTR)
            ZARVO_ZMQ_CHECK(-1, "Cannot wait for subscriptions");
    }
}

}  // namespace zarvo::transport
