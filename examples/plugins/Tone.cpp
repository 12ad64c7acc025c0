// An instrument: a polyphonic sine tone with a release.

#include "plugins/ToneSound.h"
#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <span>

namespace {

constexpr uint8_t noteOff = 0x80;
constexpr uint8_t noteOn = 0x90;
constexpr uint8_t controlChange = 0xB0;
constexpr uint8_t pitchBend = 0xE0;
constexpr int32_t volumeController = 7;

class Tone : public Vst2Effect {
public:
    explicit Tone(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x546F6E30,
                            .name = "Tone",
                            .inputs = 0,
                            .parameters = ToneSound::parameterCount,
                            .flags = effFlagsCanReplacing | effFlagsIsSynth,
                            .category = 2,
                            .hasDials = true}) {
        for (int32_t index = 0; index < ToneSound::parameterCount; ++index)
            setParameter(index, ToneSound::parameterTexts[index].defaultValue);
    }

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        const ToneSound::Settings settings = getSettings();
        int32_t next = 0;
        for (size_t i = 0; i < pendingCount; ++i) {
            const int32_t at = std::clamp(pending[i].deltaFrames, next, frames);
            sound.render(settings, outputs[0] + next, at - next);
            apply(pending[i]);
            next = at;
        }
        pendingCount = 0;
        sound.render(settings, outputs[0] + next, frames - next);
        std::copy_n(outputs[0], frames, outputs[1]);
    }

    /// Notes take effect at their frame, controllers for the whole block.
    void processEvents(const VstEvents& events) override {
        for (const VstEvent* each :
             std::span<VstEvent* const>(&events.events[0], static_cast<size_t>(events.numEvents))) {
            if (each->type != kVstMidiType)
                continue;
            const auto& event = *reinterpret_cast<const VstMidiEvent*>(each);
            const int32_t value = event.midiData[2] & 0x7F;
            if (isStatus(event, controlChange) && event.midiData[1] == volumeController)
                setParameter(ToneSound::volumeParameter, static_cast<float>(value) / 127);
            else if (isStatus(event, pitchBend))
                bend = static_cast<float>(value << 7 | (event.midiData[1] & 0x7F)) / 16383;
            else if (pendingCount < pending.size())
                pending[pendingCount++] = event;
        }
    }

    void mainsChanged(bool on) override {
        if (on)
            sound.start(sampleRate);
    }

    bool canDo(const char* ability) override { return std::strcmp(ability, "receiveVstMidiEvent") == 0; }

    VstIntPtr getTailSize() override { return sound.getTail(getSettings()); }

    const char* getParameterName(int32_t index) override { return ToneSound::parameterTexts[index].name; }
    const char* getParameterLabel(int32_t index) override { return ToneSound::parameterTexts[index].label; }

    void getParameterDisplay(int32_t index, char* text, size_t size) override {
        ToneSound::displayParameter(index, getParameter(index), text, size);
    }

private:
    static bool isStatus(const VstMidiEvent& event, uint8_t status) {
        return static_cast<uint8_t>(event.midiData[0] & 0xF0) == status;
    }

    ToneSound::Settings getSettings() {
        return {getParameter(ToneSound::volumeParameter), getParameter(ToneSound::releaseParameter), bend};
    }

    void apply(const VstMidiEvent& event) {
        const int32_t key = event.midiData[1] & 0x7F;
        const int32_t velocity = event.midiData[2] & 0x7F;
        if (isStatus(event, noteOn))
            sound.noteOn(key, static_cast<float>(velocity) / 127, key);
        else if (isStatus(event, noteOff))
            sound.noteOff(key);
    }

    ToneSound sound;
    std::atomic<float> bend = 0.5F;
    std::array<VstMidiEvent, 256> pending;
    size_t pendingCount = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Tone(host))->getEffect();
}
