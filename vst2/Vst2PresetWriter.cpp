#include "vst2/Vst2PresetWriter.h"

#include "vst2/Vst2PresetFormat.h"

#include <algorithm>
#include <bit>

namespace {

constexpr int32_t formVersion = 2;
constexpr size_t nameCapacity = 256; // bytes that are kept for an effect's text

// After the size's own field, without programs. Oddity bank-size-field: 4 more than there are.
constexpr int32_t bankRestSize = 152;
constexpr int32_t programRestSize = 48;
constexpr int32_t programHeadSize = 8; // the magic and the size

} // namespace

void Vst2PresetWriter::fetchChunk() {
    if ((effect.flags & effFlagsProgramChunks) != 0)
        chunkSize =
            std::max(static_cast<int32_t>(dispatch(effGetChunk, 0, 0, static_cast<void*>(&chunk))), 0);
}

void Vst2PresetWriter::writeBank(OutputStream& stream) {
    const bool hasChunk = chunk != nullptr;
    const int32_t programs = effect.numPrograms;
    const auto currentProgram = static_cast<int32_t>(dispatch(effGetProgram));
    stream.writeInt32(vst2ChunkMagic);
    stream.writeInt32(bankRestSize + (hasChunk ? chunkSize : programs * getProgramSize()));
    stream.writeInt32(hasChunk ? vst2BankChunkMagic : vst2BankMagic);
    stream.writeInt32(formVersion);
    stream.writeInt32(effect.uniqueID);
    stream.writeInt32(effect.version);
    stream.writeInt32(programs);
    stream.writeInt32(currentProgram);
    constexpr char reserved[vst2BankReservedSize] = {};
    stream.write(reserved, sizeof reserved);
    if (!hasChunk) {
        writePrograms(stream, currentProgram);
        return;
    }
    stream.writeInt32(chunkSize);
    if (chunkSize != 0)
        stream.write(chunk, static_cast<size_t>(chunkSize));
}

void Vst2PresetWriter::writePrograms(OutputStream& stream, int32_t currentProgram) {
    const bool walks = effect.numPrograms > 1;
    if (walks)
        dispatch(effBeginSetProgram);
    for (int32_t i = 0; i < effect.numPrograms; ++i) {
        if (walks)
            dispatch(effSetProgram, 0, i);
        writeProgram(stream, i);
    }
    if (walks) {
        dispatch(effSetProgram, 0, currentProgram);
        dispatch(effEndSetProgram);
    }
}

void Vst2PresetWriter::writeProgram(OutputStream& stream, int32_t index) {
    stream.writeInt32(vst2ChunkMagic);
    stream.writeInt32(getProgramSize() - programHeadSize);
    stream.writeInt32(vst2ProgramMagic);
    stream.writeInt32(formVersion);
    stream.writeInt32(effect.uniqueID);
    stream.writeInt32(effect.version);
    stream.writeInt32(effect.numParams);
    char name[nameCapacity] = {};
    dispatch(effGetProgramNameIndexed, index, 0, name);
    stream.write(name, vst2ProgramNameSize);
    for (int32_t i = 0; i < effect.numParams; ++i) {
        // Oddity parameters-read-twice: the second answer counts.
        callGetParameter(&effect, i);
        stream.writeInt32(std::bit_cast<int32_t>(callGetParameter(&effect, i)));
    }
    stream.flush();
}

int32_t Vst2PresetWriter::getProgramSize() const {
    return programHeadSize + programRestSize + effect.numParams * static_cast<int32_t>(sizeof(float));
}
