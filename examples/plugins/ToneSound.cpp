#include "plugins/ToneSound.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr float longestRelease = 2.0F; // seconds
constexpr float inaudible = 0.0001F;
constexpr double fullCircle = 6.283185307179586;
constexpr float bendSteps = 16383; // of the wheel
constexpr float bendCentre = 8192;
constexpr double bendRange = 2; // semitones

float releaseSeconds(float release) {
    return std::max(release * longestRelease, 0.01F);
}

// In whole steps of the wheel, so that its centre is exactly 0.
double bendSemitones(float bend) {
    const double steps = std::round(bend * bendSteps);
    return (steps - bendCentre) / bendCentre * bendRange;
}

} // namespace

void ToneSound::displayParameter(int32_t parameter, float value, char* text, size_t size) {
    const float shown = parameter == volumeParameter ? value * 100 : releaseSeconds(value) * 1000;
    std::snprintf(text, size, "%.0f", static_cast<double>(shown));
}

void ToneSound::start(float newSampleRate) {
    sampleRate = newSampleRate;
    voices = {};
}

void ToneSound::noteOn(int32_t key, float level, int32_t id) {
    if (level <= 0)
        return noteOff(key);
    // A free voice, or else the quietest.
    const auto voice = std::min_element(voices.begin(), voices.end(),
                                        [](const Voice& a, const Voice& b) { return a.level < b.level; });
    *voice = {.key = key, .id = id, .level = level, .held = true};
}

void ToneSound::noteOff(int32_t key) {
    for (Voice& voice : voices)
        voice.held = voice.held && voice.key != key;
}

void ToneSound::setNoteVolume(int32_t id, double gain) {
    for (Voice& voice : voices) {
        if (voice.id == id)
            voice.gain = static_cast<float>(gain);
    }
}

void ToneSound::setNoteTuning(int32_t id, double semitones) {
    for (Voice& voice : voices) {
        if (voice.id == id)
            voice.tuning = semitones;
    }
}

void ToneSound::render(const Settings& settings, float* output, int32_t frames) {
    std::fill_n(output, frames, 0.0F);
    const float decay = std::pow(inaudible, 1.0F / (releaseSeconds(settings.release) * sampleRate));
    const double bend = bendSemitones(settings.bend);
    for (Voice& voice : voices) {
        if (voice.level < inaudible)
            continue;
        const float volume = settings.volume * 0.5F * voice.gain;
        const double step =
            fullCircle * 440.0 * std::pow(2.0, (voice.key + voice.tuning + bend - 69) / 12.0) / sampleRate;
        for (int32_t frame = 0; frame < frames; ++frame) {
            output[frame] += static_cast<float>(std::sin(voice.phase)) * voice.level * volume;
            voice.phase = std::fmod(voice.phase + step, fullCircle);
            if (!voice.held)
                voice.level *= decay;
        }
    }
}

int32_t ToneSound::getTail(const Settings& settings) const {
    return static_cast<int32_t>(releaseSeconds(settings.release) * sampleRate) + 2;
}
