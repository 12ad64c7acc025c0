#pragma once

#include "plugins/ParameterText.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// The instrument itself, which both formats of the plug-in share: sines of sixteen voices with a release.
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

    /// `level` is 0 to 1, and a note of 0 is an end. `id` is what `setNoteVolume` and `setNoteTuning` know
    /// the note by.
    void noteOn(int32_t key, float level, int32_t id);
    void noteOff(int32_t key);
    /// A gain: 1 leaves the note as it is.
    void setNoteVolume(int32_t id, double gain);
    void setNoteTuning(int32_t id, double semitones);

    /// Writes what the voices play.
    void render(const Settings& settings, float* output, int32_t frames);
    /// In frames, behind the last note's end.
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
