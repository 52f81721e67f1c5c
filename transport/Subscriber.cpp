#include "transport/Subscriber.h"

#include "transport/internal/Check.h"

namespace zarvo::transport {

Subscriber::Subscriber(const std::vector<std::string>& prefixes, const Options& options)
    : Receiver(ZMQ_SUB, options, true) {
    for (const std::string& prefix : prefixes) subscribe(prefix);
}

void Subscriber::subscribe(const std::string& prefix) {
    ZARVO_ZMQ_TRY(zmq::socket_ref(zmq::from_handle, socket()).set(zmq::sockopt::subscribe, prefix),
                  "Cannot subscribe to '" << Exception::printable(prefix) << "'");
}

void Subscriber::unsubscribe(const std::string& prefix) {
    ZARVO_ZMQ_TRY(zmq::socket_ref(zmq::from_handle, socket()).set(zmq::sockopt::unsubscribe, prefix),
                  "Cannot unsubscribe from '" << Exception::printable(prefix) << "'");
}

}  // namespace zarvo::transport
