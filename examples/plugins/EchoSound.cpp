#include "plugins/EchoSound.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace {

constexpr float longestDelay = 1.0F; // seconds
constexpr double inaudible = 0.001;

float feedbackGain(const EchoSound::Settings& settings) {
    return std::min(settings.feedback, 0.95F);
}

} // namespace

void EchoSound::displayParameter(int32_t parameter, float value, char* text, size_t size) {
    const float scale = parameter == delayParameter ? longestDelay * 1000 : 100;
    std::snprintf(text, size, "%.0f", static_cast<double>(value * scale));
}

void EchoSound::start(float newSampleRate) {
    sampleRate = newSampleRate;
    for (std::vector<float>& line : lines)
        line.resize(static_cast<size_t>(sampleRate * longestDelay) + 1);
    clear();
}

void EchoSound::clear() {
    for (std::vector<float>& line : lines)
        std::fill(line.begin(), line.end(), 0.0F);
    writePosition = 0;
}

void EchoSound::render(const Settings& settings, const float* const* inputs, float* const* outputs,
                       int32_t frames) {
    const size_t delay = delayFrames(settings);
    const float feedback = feedbackGain(settings);
    for (int32_t frame = 0; frame < frames; ++frame) {
        const size_t size = lines[0].size();
        const size_t readPosition = (writePosition + size - delay) % size;
        for (size_t channel = 0; channel < std::size(lines); ++channel) {
            const float dry = inputs[channel][frame];
            const float wet = lines[channel][readPosition];
            lines[channel][writePosition] = dry + wet * feedback;
            outputs[channel][frame] = dry * (1.0F - settings.mix) + wet * settings.mix;
        }
        writePosition = (writePosition + 1) % size;
    }
}

int32_t EchoSound::getTail(const Settings& settings) const {
    const double repeats =
        std::log(inaudible) / std::log(std::max(static_cast<double>(feedbackGain(settings)), 0.01));
    return static_cast<int32_t>(static_cast<double>(delayFrames(settings)) * (repeats + 1)) + 2;
}

size_t EchoSound::delayFrames(const Settings& settings) const {
    const float frames = settings.delay * longestDelay * sampleRate;
    return static_cast<size_t>(std::clamp(frames, 1.0F, longestDelay * sampleRate));
}
