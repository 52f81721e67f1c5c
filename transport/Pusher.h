#pragma once

#include "transport/Sender.h"

namespace zarvo::transport {

/// The sending side of a lossless pipeline (ZeroMQ PUSH): each message goes to exactly
/// one puller; a send that no puller takes within Options::sendTimeout throws, and
/// nothing sent before is lost.
class ZARVO_EXPORT Pusher : public Sender {
public:
    /// A pusher with these options; bind or connect it next.
    explicit Pusher(const Options& options = {});
};

}  // namespace zarvo::transport
