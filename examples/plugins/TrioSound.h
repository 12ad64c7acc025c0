#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

// The signal processing of the three effects, shared by both formats. Outputs may be the inputs: processes in
// place.

/// A gain with a look-ahead limiter: its output is delayed and within full scale.
class LouderSound {
public:
    static constexpr int32_t latency = 64; // frames

    void clear();
    /// The gain is normalised: 1 doubles.
    void render(float gain, const float* const* inputs, float* const* outputs, int32_t frames);

private:
    /// The gain, 1 at most, that keeps the delayed frames within full scale.
    float findLimit() const;

    /// With the gain applied.
    std::array<std::array<float, 2>, latency> waiting{};
    size_t next = 0;
    float limit = 1;
};

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
