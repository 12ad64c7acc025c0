#include "plugins/TrioSound.h"

#include <cmath>

void LouderSound::clear() {
    waiting = {};
    next = 0;
    limit = 1;
}

void LouderSound::render(float gain, const float* const* inputs, float* const* outputs, int32_t frames) {
    constexpr float recovery = 0.001F; // a frame
    for (int32_t frame = 0; frame < frames; ++frame) {
        limit = std::min(findLimit(), limit + recovery);
        std::array<float, 2>& oldest = waiting[next];
        for (size_t channel = 0; channel < oldest.size(); ++channel) {
            const float louder = inputs[channel][frame] * (gain * 2);
            outputs[channel][frame] = oldest[channel] * limit;
            oldest[channel] = louder;
        }
        next = (next + 1) % waiting.size();
    }
}

float LouderSound::findLimit() const {
    float loudest = 1;
    for (const std::array<float, 2>& frame : waiting)
        loudest = std::max({loudest, std::abs(frame[0]), std::abs(frame[1])});
    return 1 / loudest;
}
