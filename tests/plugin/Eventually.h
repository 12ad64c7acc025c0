#pragma once

#include <chrono>
#include <thread>

/// Waits until `condition` holds; false if it doesn't within `bound`.
template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds bound = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
