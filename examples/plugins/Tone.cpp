// An instrument: a polyphonic sine tone with a release.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

enum Parameter { volumeParameter, releaseParameter, parameterCount };

constexpr uint8_t noteOff = 0x80;
constexpr uint8_t noteOn = 0x90;
constexpr float longestRelease = 2.0F; // seconds
constexpr float inaudible = 0.0001F;
constexpr double fullCircle = 6.283185307179586;

struct Voice {
    int32_t note = -1;
    double phase = 0;
    float level = 0;
    bool held = false;
};

class Tone : public Vst2Effect {
public:
    explicit Tone(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x546F6E30,
                            .name = "Tone",
                            .inputs = 0,
                            .parameters = parameterCount,
                            .flags = effFlagsCanReplacing | effFlagsIsSynth,
                            .category = 2}) {
        setParameter(volumeParameter, 0.5F);
        setParameter(releaseParameter, 0.15F);
    }

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        std::fill_n(outputs[0], frames, 0.0F);
        int32_t next = 0;
        for (size_t i = 0; i < pendingCount; ++i) {
            const int32_t at = std::clamp(pending[i].deltaFrames, next, frames);
            renderVoices(outputs[0] + next, at - next);
            apply(pending[i]);
            next = at;
        }
        pendingCount = 0;
        renderVoices(outputs[0] + next, frames - next);
        std::copy_n(outputs[0], frames, outputs[1]);
    }

    void processEvents(const VstEvents& events) override {
        for (int32_t i = 0; i < events.numEvents && pendingCount < pending.size(); ++i) {
            if (events.events[i]->type == kVstMidiType)
                pending[pendingCount++] = *reinterpret_cast<const VstMidiEvent*>(events.events[i]);
        }
    }

    bool canDo(const char* ability) override { return std::strcmp(ability, "receiveVstMidiEvent") == 0; }

    VstIntPtr getTailSize() override { return static_cast<VstIntPtr>(releaseSeconds() * sampleRate) + 2; }

    const char* getParameterName(int32_t index) override {
        return index == volumeParameter ? "Volume" : "Release";
    }

    const char* getParameterLabel(int32_t index) override { return index == volumeParameter ? "%" : "ms"; }

    void getParameterDisplay(int32_t index, char* text, size_t size) override {
        const float shown = index == volumeParameter ? getParameter(index) * 100 : releaseSeconds() * 1000;
        std::snprintf(text, size, "%.0f", static_cast<double>(shown));
    }

private:
    float releaseSeconds() { return std::max(getParameter(releaseParameter) * longestRelease, 0.01F); }

    void apply(const VstMidiEvent& event) {
        const auto status = static_cast<uint8_t>(event.midiData[0] & 0xF0);
        const int32_t note = event.midiData[1] & 0x7F;
        const int32_t velocity = event.midiData[2] & 0x7F;
        if (status == noteOn && velocity > 0) {
            // A free voice, else the quietest.
            const auto voice =
                std::min_element(voices.begin(), voices.end(),
                                 [](const Voice& a, const Voice& b) { return a.level < b.level; });
            *voice = {.note = note, .level = static_cast<float>(velocity) / 127, .held = true};
        } else if (status == noteOff || status == noteOn) {
            for (Voice& voice : voices)
                voice.held = voice.held && voice.note != note;
        }
    }

    void renderVoices(float* output, int32_t frames) {
        const float volume = getParameter(volumeParameter) * 0.5F;
        const float decay = std::pow(inaudible, 1.0F / (releaseSeconds() * sampleRate));
        for (Voice& voice : voices) {
            if (voice.level < inaudible)
                continue;
            const double step = fullCircle * 440.0 * std::pow(2.0, (voice.note - 69) / 12.0) / sampleRate;
            for (int32_t frame = 0; frame < frames; ++frame) {
                output[frame] += static_cast<float>(std::sin(voice.phase)) * voice.level * volume;
                voice.phase = std::fmod(voice.phase + step, fullCircle);
                if (!voice.held)
                    voice.level *= decay;
            }
        }
    }

    std::array<Voice, 16> voices;
    std::array<VstMidiEvent, 256> pending;
    size_t pendingCount = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Tone(host))->getEffect();
}
