#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/// Values from a plug-in's editor, on their way to its next block: from the main thread to the audio thread,
/// without a lock. What comes while it is full is dropped: the user's hand brings the next value.
class ParameterChanges {
public:
    struct Change {
        uint32_t index;
        float value;
    };

    /// Main thread.
    void push(Change change) noexcept {
        const size_t at = written.load(std::memory_order_relaxed);
        if (at - read.load(std::memory_order_acquire) == changes.size())
            return;
        changes[at % changes.size()] = change;
        written.store(at + 1, std::memory_order_release);
    }

    /// Calls `use` for each, until it returns false: that one stays. Audio thread.
    template <class Use>
    void take(const Use& use) noexcept {
        size_t at = read.load(std::memory_order_relaxed);
        const size_t end = written.load(std::memory_order_acquire);
        while (at != end && use(changes[at % changes.size()]))
            ++at;
        read.store(at, std::memory_order_release);
    }

private:
    std::array<Change, 1024> changes;
    std::atomic<size_t> written = 0;
    std::atomic<size_t> read = 0;
};
