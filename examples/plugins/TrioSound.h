#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

// What the three effects do, which both formats of the file share. Outputs may be the inputs' own memory.

/// A gain whose limiter looks ahead, so that what comes out comes late and stays within full scale.
class LouderSound {
public:
    static constexpr int32_t latency = 64; // frames

    void clear();
    /// The gain is normalised: 1 doubles.
    void render(float gain, const float* const* inputs, float* const* outputs, int32_t frames);

private:
    /// The gain, 1 at most, that keeps the frames which are yet to come out within full scale.
    float findLimit() const;

    /// Each as loud as it is to be.
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
