#include "transport/Pusher.h"

#include <zmq.h>

namespace zarvo::transport {

Pusher::Pusher(const Options& options) : Sender(ZMQ_PUSH, options) {}

}  // namespace zarvo::transport
