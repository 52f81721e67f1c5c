#pragma once

#include <string>
#include <vector>

#include "transport/Receiver.h"

namespace zarvo::transport {

/// The receiving side of a live stream (ZeroMQ SUB): gets the topics whose names start
/// with one of its prefixes, and counts what it missed.
class ZARVO_EXPORT Subscriber : public Receiver {
public:
    /// A subscriber to the topics starting with one of prefixes ("" is every topic).
    explicit Subscriber(const std::vector<std::string>& prefixes = {""}, const Options& options = {});
    /// Adds a topic prefix.
    void subscribe(const std::string& prefix);
    /// Removes a topic prefix added before.
    void unsubscribe(const std::string& prefix);
};

}  // namespace zarvo::transport
