#pragma once

#include <algorithm>
#include <cstdint>

// What the three effects do, which both formats of the file share. Outputs may be the inputs' own memory.

/// The gain is normalised: 1 doubles.
inline void renderLouder(float gain, const float* const* inputs, float* const* outputs, int32_t frames) {
    for (int channel = 0; channel < 2; ++channel)
        std::transform(inputs[channel], inputs[channel] + frames, outputs[channel],
                       [gain](float sample) { return sample * (gain * 2); });
}

inline void renderUpsideDown(const float* const* inputs, float* const* outputs, int32_t frames) {
    for (int channel = 0; channel < 2; ++channel)
        std::transform(inputs[channel], inputs[channel] + frames, outputs[channel],
                       [](float sample) { return -sample; });
}

inline void renderSwapSides(const float* const* inputs, float* const* outputs, int32_t frames) {
    for (int32_t frame = 0; frame < frames; ++frame) {
        const float left = inputs[0][frame];
        outputs[0][frame] = inputs[1][frame];
        outputs[1][frame] = left;
    }
}
