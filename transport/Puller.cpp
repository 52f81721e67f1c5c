#include "transport/Puller.h"

#include <zmq.h>

namespace zarvo::transport {

Puller::Puller(const Options& options) : Receiver(ZMQ_PULL, options, false) {}

}  // namespace zarvo::transport
