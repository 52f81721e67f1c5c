#pragma once

// Internal to zarvo_transport: never installed. The one place that turns a failed
// ZeroMQ call into a zarvo::Exception.

#include <zmq.h>

#include "valuefault/Exception.h"

/// Runs a ZeroMQ call and throws a zarvo::Exception with the streamed message and
/// ZeroMQ's own reason (zmq_strerror) if it returns a negative value, which is how
/// ZeroMQ reports every failure.
#define ZARVO_ZMQ_CHECK(call, streamedMessage)                                    \
    do {                                                                          \
        if ((call) < 0) {                                                         \
            const int zarvoZmqError_ = zmq_errno();                               \
            ZARVO_THROW(streamedMessage << ": " << zmq_strerror(zarvoZmqError_)); \
        }                                                                         \
    } while (false)
