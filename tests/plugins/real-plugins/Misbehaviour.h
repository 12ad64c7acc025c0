#pragma once

#include "plugins/ClockTurn.h"

#include <cstdint>
#include <limits>
#include <unistd.h>

/// The one bad thing, in the third block, that a plug-in's target is named after.
class Misbehaviour {
public:
    /// The output of a block, as the plug-in has rendered it.
    void renderBlock(float* output, int32_t frames) {
        constexpr int32_t badBlock = 3;
        if (++block == badBlock)
            misbehave(output, frames);
    }

private:
    static void misbehave([[maybe_unused]] float* output, [[maybe_unused]] int32_t frames) {
#if defined(WRITES_BEYOND_ITS_OUTPUT)
        output[frames] = 0;
#elif defined(RENDERS_NAN)
        output[frames - 1] = std::numeric_limits<float>::quiet_NaN();
#elif defined(RENDERS_INFINITY)
        output[0] = std::numeric_limits<float>::infinity();
#elif defined(NEVER_RETURNS)
        turnClock();
        for (;;)
            pause();
#elif defined(ENDS_THE_PROCESS)
        _exit(7);
#else
#error "Which bad thing?"
#endif
    }

    int32_t block = 0;
};
