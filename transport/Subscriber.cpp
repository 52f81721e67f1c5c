#include "transport/Subscriber.h"

#include <zmq.h>

#include "transport/internal/Check.h"

namespace zarvo::transport {

Subscriber::Subscriber(const std::vector<std::string>& prefixes, const Options& options)
    : Receiver(ZMQ_SUB, options, true) {
    for (const std::string& prefix : prefixes) subscribe(prefix);
}

void Subscriber::subscribe(const std::string& prefix) {
    ZARVO_ZMQ_CHECK(zmq_setsockopt(socket(), ZMQ_SUBSCRIBE, prefix.data(), prefix.size()),
                    "Cannot subscribe to '" << Exception::printable(prefix) << "'");
}

void Subscriber::unsubscribe(const std::string& prefix) {
    ZARVO_ZMQ_CHECK(zmq_setsockopt(socket(), ZMQ_UNSUBSCRIBE, prefix.data(), prefix.size()),
                    "Cannot unsubscribe from '" << Exception::printable(prefix) << "'");
}

}  // namespace zarvo::transport
