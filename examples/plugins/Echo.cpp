// An effect with a tail: a stereo echo.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

namespace {

constexpr float longestDelay = 1.0F; // seconds
constexpr double inaudible = 0.001;  // a tail ends 60 dB down

enum Parameter { delayParameter, feedbackParameter, mixParameter, parameterCount };

class Echo : public Vst2Effect {
public:
    explicit Echo(audioMasterCallback host)
        : Vst2Effect(host,
                     {.uniqueId = 0x45636830, .name = "Echo", .parameters = parameterCount, .category = 6}) {
        setParameter(delayParameter, 0.25F);
        setParameter(feedbackParameter, 0.5F);
        setParameter(mixParameter, 0.4F);
    }

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        const size_t delay = delayFrames();
        const float feedback = feedbackGain();
        const float mix = getParameter(mixParameter);
        for (int32_t frame = 0; frame < frames; ++frame) {
            const size_t size = lines[0].size();
            const size_t readPosition = (writePosition + size - delay) % size;
            for (size_t channel = 0; channel < std::size(lines); ++channel) {
                const float dry = inputs[channel][frame];
                const float wet = lines[channel][readPosition];
                lines[channel][writePosition] = dry + wet * feedback;
                outputs[channel][frame] = dry * (1.0F - mix) + wet * mix;
            }
            writePosition = (writePosition + 1) % size;
        }
    }

    void mainsChanged(bool on) override {
        if (!on)
            return;
        for (std::vector<float>& line : lines)
            line.assign(static_cast<size_t>(sampleRate * longestDelay) + 1, 0.0F);
        writePosition = 0;
    }

    VstIntPtr getTailSize() override {
        const double repeats =
            std::log(inaudible) / std::log(std::max(static_cast<double>(feedbackGain()), 0.01));
        return static_cast<VstIntPtr>(static_cast<double>(delayFrames()) * (repeats + 1)) + 2;
    }

    const char* getParameterName(int32_t index) override {
        constexpr const char* names[] = {"Delay", "Feedback", "Mix"};
        return names[index];
    }

    const char* getParameterLabel(int32_t index) override { return index == delayParameter ? "ms" : "%"; }

    void getParameterDisplay(int32_t index, char* text, size_t size) override {
        const float scale = index == delayParameter ? longestDelay * 1000 : 100;
        std::snprintf(text, size, "%.0f", static_cast<double>(getParameter(index) * scale));
    }

private:
    size_t delayFrames() {
        const float frames = getParameter(delayParameter) * longestDelay * sampleRate;
        return static_cast<size_t>(std::clamp(frames, 1.0F, longestDelay * sampleRate));
    }

    float feedbackGain() { return std::min(getParameter(feedbackParameter), 0.95F); }

    std::vector<float> lines[2];
    size_t writePosition = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Echo(host))->getEffect();
}
