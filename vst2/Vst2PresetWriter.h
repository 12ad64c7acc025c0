#pragma once

#include "plugin/CoreNames.h"
#include "vst2/EffectCall.h"
#include "vst2/Vst24.h"

#include <cstdint>

/// Writes the state of an effect as a bank, the published ".fxb": as a chunk if the effect gives one, else as
/// the values of all its programs, selecting each in turn. Main thread.
class Vst2PresetWriter : public NonCopyable {
public:
    explicit Vst2PresetWriter(AEffect& effect) : effect(effect) {}

    /// Gets the effect's chunk, which the effect owns. Call it before anything is written.
    void fetchChunk();
    /// Throws `IOException`.
    void writeBank(OutputStream& stream);

private:
    void writePrograms(OutputStream& stream, int32_t currentProgram);
    void writeProgram(OutputStream& stream, int32_t index);
    /// With its magic, in bytes.
    int32_t getProgramSize() const;

    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr) {
        return callDispatcher(&effect, opcode, index, value, ptr);
    }

    AEffect& effect;
    void* chunk = nullptr;
    int32_t chunkSize = 0;
};
