#pragma once

#include <array>
#include <chrono>
#include <cstddef>

/// How often a plug-in comes back: three times within a minute. One that dies faster would only take the
/// machine's time.
class RevivalLimit {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr size_t most = 3;
    static constexpr std::chrono::seconds span{60};

    /// False if it would be one too many.
    bool allows(Clock::time_point now) noexcept {
        Clock::time_point& oldest = times[count % most];
        if (count >= most && now - oldest < span)
            return false;
        oldest = now;
        ++count;
        return true;
    }

private:
    std::array<Clock::time_point, most> times{};
    size_t count = 0;
};
