#include "real-plugins/ScoreBlock.h"

#include <algorithm>

void writeBlock(PluginAudioContext& context, int32_t block) {
    for (int32_t channel = 0; channel < context.inputChannelCount; ++channel) {
        for (int32_t frame = 0; frame < context.blockSize; ++frame)
            context.inputChannel(channel)[frame] = score::inputAt(block, frame);
    }
    context.beginBlock();
    if (const auto note = score::noteAt(block))
        context.addMidiEvent(0, note->status, note->key, note->velocity);
    const score::Transport now = score::transportAt(block);
    TransportBlock& transport = context.getTransport();
    transport = {};
    transport.sampleRate = score::sampleRate;
    transport.tempo = now.tempo;
    transport.position = now.position;
    transport.systemTime = now.nanoseconds;
    transport.barStart = now.barStart;
    transport.loopEnd = now.loopEnd;
    transport.samplePosition = static_cast<uint64_t>(now.samplePosition);
    transport.flags = (now.isPlaying ? transportPlaying : 0U) | (now.isRecording ? transportRecording : 0U) |
                      (now.isLooping ? transportLoopOn : 0U) | (now.hasChanged ? transportChangedMask : 0U);
    transport.timeSignatureNumerator = static_cast<uint16_t>(now.numerator);
    transport.timeSignatureDenominator = static_cast<uint16_t>(now.denominator);
}

void writeSilence(PluginAudioContext& context) {
    for (int32_t channel = 0; channel < context.inputChannelCount; ++channel)
        std::fill_n(context.inputChannel(channel), context.blockSize, 0.0F);
    context.beginBlock();
    context.getTransport().flags = 0;
}

void addChange(PluginAudioContext& context, int32_t parameter, float value) {
    context.addParameterChange(static_cast<uint16_t>(parameter), value);
}
