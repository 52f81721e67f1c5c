#pragma once

// Internal to zarvo_transport: never installed. The one place that turns a failed
// ZeroMQ call into a zarvo::Exception.

#include <zmq.hpp>

#include "valuefault/Exception.h"

/// Runs statement, which calls cppzmq, and turns the zmq::error_t it throws on failure
/// into a zarvo::Exception with the streamed message and ZeroMQ's own reason.
#define ZARVO_ZMQ_TRY(statement, streamedMessage)                          \
    do {                                                                   \
        try {                                                              \
            statement;                                                     \
        } catch (const zmq::error_t& zarvoZmqError_) {                     \
            ZARVO_THROW(streamedMessage << ": " << zarvoZmqError_.what()); \
        }                                                                  \
    } while (false)
