#pragma once

#include <cstdint>
#include <cstdlib>
#include <unistd.h>

// The ways in which a plug-in takes its process along, or keeps it busy for ever.

inline void crash() {
    // The compiler isn't to see that nothing is there.
    volatile uintptr_t nowhere = 16;
    *reinterpret_cast<volatile int*>(nowhere) = 0;
}

inline void leave() {
    std::exit(3);
}

inline void hang() {
    for (;;)
        pause();
}
