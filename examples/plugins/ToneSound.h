#pragma once

#include "plugins/ParameterText.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// The signal processing of the instrument, shared by both formats: sines of sixteen voices with a release.
class ToneSound {
public:
    enum Parameter { volumeParameter, releaseParameter, parameterCount };

    static constexpr ParameterText parameterTexts[] = {{"Volume", "%", 0.5F}, {"Release", "ms", 0.15F}};
    /// Writes at most `size` bytes with the terminator.
    static void displayParameter(int32_t parameter, float value, char* text, size_t size);

    /// The parameters' values, normalised.
    struct Settings {
        float volume;
        float release;
        float bend = 0.5F; // of the pitch wheel
    };

    /// Silences all voices. The rate is in Hz.
    void start(float newSampleRate);

    /// `level` is 0 to 1; 0 ends the note. `id` identifies the note for `setNoteVolume` and `setNoteTuning`.
    void noteOn(int32_t key, float level, int32_t id);
    void noteOff(int32_t key);
    /// A gain; 1 is neutral.
    void setNoteVolume(int32_t id, double gain);
    void setNoteTuning(int32_t id, double semitones);

    /// Writes the mix of the voices.
    void render(const Settings& settings, float* output, int32_t frames);
    /// In frames, from the end of the last note.
    int32_t getTail(const Settings& settings) const;

private:
    struct Voice {
        int32_t key = -1;
        int32_t id = -1;
        double phase = 0;
        float level = 0;
        bool held = false;
        float gain = 1;
        double tuning = 0; // semitones
    };

    std::array<Voice, 16> voices;
    float sampleRate = 44100;
};
