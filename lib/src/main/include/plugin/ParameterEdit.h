#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <optional>

/// The parameter that the user holds in a plug-in's editor: changes of it from elsewhere are dropped until
/// the plug-in ends the edit. Of overlapping edits only the first counts. Any thread; lock-free.
class ParameterEdit {
public:
    void begin(int32_t index) {
        if (held == none)
            held = index;
    }
    void end(int32_t index) {
        if (held == index)
            held = none;
    }

    bool holds(int32_t index) const { return index == held; }
    /// Empty while no edit is open.
    std::optional<int32_t> getHeld() const {
        const int32_t index = held;
        return index != none ? std::optional(index) : std::nullopt;
    }

private:
    static constexpr int32_t none = -1;

    Relaxed<int32_t> held = none;
};
