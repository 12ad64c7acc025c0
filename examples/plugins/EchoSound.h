#pragma once

#include "plugins/ParameterText.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// The signal processing of the echo, shared by both formats: two channels, each with a delay line.
class EchoSound {
public:
    enum Parameter { delayParameter, feedbackParameter, mixParameter, parameterCount };

    static constexpr ParameterText parameterTexts[] = {
        {"Delay", "ms", 0.25F},
        {"Feedback", "%", 0.5F},
        {"Mix", "%", 0.4F},
    };
    /// Writes at most `size` bytes with the terminator.
    static void displayParameter(int32_t parameter, float value, char* text, size_t size);

    /// The parameters' values, normalised.
    struct Settings {
        float delay;
        float feedback;
        float mix;
    };

    /// Allocates empty delay lines. The rate is in Hz.
    void start(float newSampleRate);
    /// Clears the delay lines.
    void clear();
    /// Outputs may be the inputs: processes in place.
    void render(const Settings& settings, const float* const* inputs, float* const* outputs, int32_t frames);
    /// In frames, until the echoes are 60 dB down.
    int32_t getTail(const Settings& settings) const;

private:
    size_t delayFrames(const Settings& settings) const;

    float sampleRate = 44100;
    std::vector<float> lines[2];
    size_t writePosition = 0;
};
