#pragma once

#include "transport/Receiver.h"

namespace zarvo::transport {

/// The receiving side of a lossless pipeline (ZeroMQ PULL): several pullers share a
/// stream, each message reaching exactly one of them.
class ZARVO_EXPORT Puller : public Receiver {
public:
    /// A puller with these options; bind or connect it next.
    explicit Puller(const Options& options = {});
};

}  // namespace zarvo::transport
