#pragma once

#include <cstdint>
#include <string>

#include "valuefault/Export.h"

namespace zarvo::exp {

/// Times as frames carry them and recordings keep them: signed 64-bit nanoseconds
/// since the Unix epoch, UTC.
class ZARVO_EXPORT UnixTime {
public:
    /// The system clock now, in nanoseconds since the Unix epoch.
    static std::int64_t nowNanoseconds();
    /// ISO 8601 UTC with all nine fraction digits, "2026-11-25T02:53:30.123456789Z";
    /// a time the calendar cannot show is written as its number and "ns".
    static std::string isoText(std::int64_t nanoseconds);
};

}  // namespace zarvo::exp
