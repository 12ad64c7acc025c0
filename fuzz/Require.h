#pragma once

/// Ends a fuzzer with a finding unless something holds that must, whatever the bytes are.
inline void require(bool holds) {
    if (!holds)
        __builtin_trap();
}
