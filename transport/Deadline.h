#pragma once

#include <algorithm>
#include <chrono>

namespace zarvo::transport {

/// The end of a wait that may last a timeout: what every waiting call of the transport
/// (and of its Python module) counts down against.
class Deadline {
public:
    /// Ends timeout from now; a negative timeout never ends.
    explicit Deadline(std::chrono::milliseconds timeout)
        : m_endless(timeout.count() < 0),
          // A year stands for longer waits, whose deadline the clock could not hold.
          m_end(Clock::now() + std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(24 * 365))) {}

    /// Whether the time is up; never for an endless wait.
    bool passed() const { return !m_endless && Clock::now() >= m_end; }
    /// The time left, rounded up to whole milliseconds (0 once passed); -1 ms for an endless wait.
    std::chrono::milliseconds left() const {
        if (m_endless) return std::chrono::milliseconds(-1);
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()),
                        std::chrono::milliseconds(0));
    }

private:
    using Clock = std::chrono::steady_clock;

    bool m_endless;
    Clock::time_point m_end;
};

}  // namespace zarvo::transport
