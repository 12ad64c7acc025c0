#pragma once

/// Ends the fuzzer with a finding unless a condition holds, which it must for any input.
inline void require(bool holds) {
    if (!holds)
        __builtin_trap();
}
