#pragma once

// What is played to a plug-in, in the host and in the bare loader alike: a plug-in that sounds different in
// the two is played wrongly by one of them. Depends on nothing else.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <optional>

namespace score {

constexpr int32_t blocks = 200;
constexpr int32_t blockSize = 256;    // frames
constexpr int32_t sampleRate = 44100; // Hz

struct ParameterChange {
    int32_t index;
    float value; // normalised
};

struct Note {
    uint8_t status;
    uint8_t key;
    uint8_t velocity;
};

struct Transport {
    int64_t samplePosition;
    double nanoseconds;
    double tempo;    // beats a minute
    double position; // quarter notes
    double barStart; // quarter notes
    double loopEnd;  // quarter notes
    int32_t numerator;
    int32_t denominator;
    bool isPlaying;
    bool isRecording;
    bool isLooping;
    /// Since the block before.
    bool hasChanged;
};

/// The same for every input channel.
inline float inputAt(int32_t block, int32_t frame) {
    const double time = (static_cast<double>(block) * blockSize + frame) / sampleRate;
    return static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * 440.0 * time));
}

/// The change before a block. Each parameter has about eight in all, as far as there are blocks for them, so
/// that it meets both of its ends: some plug-ins work long at each.
inline std::optional<ParameterChange> parameterChangeAt(int32_t block, int32_t parameterCount) {
    constexpr int32_t changesOfAParameter = 8;
    constexpr float values[] = {1.0F, 0.35F, 0.0F, 0.7F};
    if (parameterCount <= 0)
        return std::nullopt;
    const int32_t stride = std::max(blocks / (changesOfAParameter * parameterCount), 1);
    if (block % stride != 0)
        return std::nullopt;
    const int32_t index = block / stride % parameterCount;
    const int32_t round = block / stride / parameterCount;
    return ParameterChange{index, values[(round + index) % 4]};
}

/// One note after the other, each higher than the one before; none sounds at the end.
inline std::optional<Note> noteAt(int32_t block) {
    constexpr int32_t blocksOfANote = 20;
    constexpr int32_t soundingBlocks = 15;
    constexpr int32_t lowestKey = 48;
    const auto key = static_cast<uint8_t>(lowestKey + block / blocksOfANote);
    switch (block % blocksOfANote) {
    case 0:
        return Note{0x90, key, 100};
    case soundingBlocks:
        return Note{0x80, key, 100};
    default:
        return std::nullopt;
    }
}

/// Plays, stands still, records in another tempo and metre, and plays a loop from the start.
inline Transport transportAt(int32_t block) {
    constexpr int32_t blocksOfASection = blocks / 4;
    constexpr double tempos[] = {120, 90.5, 240, 120};
    constexpr int32_t numerators[] = {4, 3, 7, 4};
    constexpr int32_t denominators[] = {4, 4, 8, 4};
    const int32_t section = std::min(block / blocksOfASection, 3);
    const int32_t blockOfSection = block - section * blocksOfASection;
    // The second section stays where the first one ended, and the third goes on from there.
    constexpr int32_t firstBlocks[] = {0, blocksOfASection, blocksOfASection, 0};

    Transport transport{};
    transport.isPlaying = section != 1;
    transport.isRecording = section == 2;
    transport.isLooping = section == 3;
    transport.hasChanged = blockOfSection == 0;
    transport.samplePosition =
        int64_t{blockSize} * (firstBlocks[section] + (transport.isPlaying ? blockOfSection : 0));
    transport.nanoseconds = static_cast<double>(block) * blockSize / sampleRate * 1e9;
    transport.tempo = tempos[section];
    transport.numerator = numerators[section];
    transport.denominator = denominators[section];
    transport.position = static_cast<double>(transport.samplePosition) / sampleRate * transport.tempo / 60.0;
    const double bar = 4.0 * transport.numerator / transport.denominator;
    transport.barStart = std::floor(transport.position / bar) * bar;
    transport.loopEnd = 4.0;
    return transport;
}

} // namespace score
