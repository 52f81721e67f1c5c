#include "core/datatypes/UnixTime.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace zarvo::exp {

std::int64_t UnixTime::nowNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string UnixTime::isoText(std::int64_t nanoseconds) {
    constexpr std::int64_t billion = 1000000000;
    std::int64_t seconds = nanoseconds / billion, fraction = nanoseconds % billion;
    if (fraction < 0) {  // before 1970: the fraction counts forward from the second before
        fraction += billion;
        --seconds;
    }
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm utc{};
    char text[64];
    if (gmtime_r(&whole, &utc) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc) == 0)
        return std::to_string(nanoseconds) + "ns";
    char tail[16];
    std::snprintf(tail, sizeof tail, ".%09lldZ", static_cast<long long>(fraction));
    return text + std::string(tail);
}

}  // namespace zarvo::exp
