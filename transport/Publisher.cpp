#include "transport/Publisher.h"

#include "transport/Deadline.h"
#include "transport/internal/Check.h"
#include "transport/internal/Sockets.h"

namespace zarvo::transport {

Publisher::Publisher(const Options& options) : Sender(ZMQ_XPUB, options) {}

bool Publisher::waitForSubscriber(std::chrono::milliseconds timeout) {
    const Deadline deadline(timeout);
    const zmq::socket_ref xpub(zmq::from_handle, socket());
    std::vector<zmq::message_t> note;
    for (;;) {
        // What is queued is read first; then, without a subscriber, the wait goes on until one comes.
        const bool waiting = m_subscriptions <= 0 && !deadline.passed();
        internal::Receipt receipt = internal::Receipt::None;
        ZARVO_ZMQ_TRY(
            receipt = internal::receiveParts(xpub, note, 1, waiting ? deadline.left() : std::chrono::milliseconds(0)),
            "Cannot read subscriptions");
        if (receipt == internal::Receipt::None && !waiting) return m_subscriptions > 0;
        // XPUB hands on the first subscription to a topic (byte 1, then the prefix) and
        // the last unsubscription from it (byte 0).
        if (receipt == internal::Receipt::Whole && note[0].size() > 0)
            m_subscriptions += note[0].data<unsigned char>()[0] == 1 ? 1 : -1;
    }
}

}  // namespace zarvo::transport
