#pragma once

#include <chrono>
#include <thread>

namespace test_support {

/// What only a broken program exceeds.
inline constexpr std::chrono::seconds usualBound{10};

/// For what takes seconds beside a sanitizer, and for the side of a test that has to outlast the other.
inline constexpr std::chrono::seconds longBound{20};

/// Waits until `condition` holds; false if it doesn't within `bound`.
template <class Condition>
bool eventually(const Condition& condition, std::chrono::milliseconds bound = usualBound) {
    constexpr std::chrono::microseconds pause{500};
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

} // namespace test_support
