#include "vst2/Vst2PresetReader.h"

#include "core/RIFFInputStream.h"
#include "vst2/Vst2PresetFormat.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace {

constexpr int32_t bankChunk = 0;
constexpr int32_t programChunk = 1;

int32_t reversed(int32_t value) {
    return static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(value)));
}

// Two ids of one plug-in: presets of either load into the other.
bool isKnownPair(int32_t a, int32_t b) {
    constexpr int32_t olderId = 0x75685057;
    constexpr int32_t newerId = 0x70727355;
    return (a == olderId && b == newerId) || (a == newerId && b == olderId);
}

// Terminated, since effects read some files as text.
const uint8_t* terminated(std::vector<uint8_t>& file) {
    file.push_back(0);
    return file.data();
}

} // namespace

Vst2PresetReader::Vst2PresetReader(AEffect& effect, std::vector<uint8_t> bytes)
    : effect(effect), file(std::move(bytes)), fileSize(file.size()),
      stream(new base::core::MemoryInputStream(terminated(file), fileSize)) {}

void Vst2PresetReader::readBankOrProgram() {
    const Header header = readHeader();
    const bool hasChunks = (effect.flags & effFlagsProgramChunks) != 0;
    const int32_t program = hasChunks ? vst2ProgramChunkMagic : vst2ProgramMagic;
    const int32_t bank = hasChunks ? vst2BankChunkMagic : vst2BankMagic;
    if (header.format != program && header.format != bank)
        throw IOException(concat("Invalid format id: ", header.format));
    if (header.format == program)
        readProgram(header);
    else
        readBank(header);
}

Vst2PresetReader::Header Vst2PresetReader::readHeader() {
    const int32_t magic = stream->readInt32();
    if (magic != vst2ChunkMagic)
        throw IOException(concat("Invalid format id: ", magic));
    stream->readInt32(); // the size of the rest, which many writers get wrong
    const int32_t format = stream->readInt32();
    const int32_t version = stream->readInt32();
    // Versions are small numbers: in big-endian order their first byte is 0.
    const bool isLittleEndian = (static_cast<uint32_t>(version) >> 24) != 0;
    if (isLittleEndian)
        stream->setEndianMode(base::core::littleEndianMode);
    return {format, isLittleEndian ? reversed(version) : version, isLittleEndian};
}

void Vst2PresetReader::readProgram(const Header& header) {
    const int32_t uniqueId = stream->readInt32();
    stream->readInt32(); // the plug-in's version
    const int32_t count = stream->readInt32();
    dispatch(effBeginSetProgram);
    if (!isForEffect(uniqueId))
        throw IOException("Incorrect device id in program");
    stream->skip(vst2ProgramNameSize); // not applied
    if (header.format == vst2ProgramMagic)
        readParameters(std::min(count, effect.numParams));
    else
        handOverChunk(programChunk, stream->readInt32());
    dispatch(effEndSetProgram);
}

void Vst2PresetReader::readBank(const Header& header) {
    const int32_t uniqueId = stream->readInt32();
    const int32_t pluginVersion = stream->readInt32();
    const int32_t count = stream->readInt32();
    dispatch(effBeginSetProgram);
    if (!isForEffect(uniqueId))
        throw IOException("Incorrect unique id");
    const int32_t currentProgram = stream->readInt32();
    stream->skip(vst2BankReservedSize);
    VstPatchChunkInfo info{};
    info.version = 1;
    info.pluginUniqueID = uniqueId;
    info.pluginVersion = pluginVersion;
    info.numElements = count;
    constexpr VstIntPtr refused = -1;
    if (dispatch(effBeginLoadBank, 0, 0, &info) == refused)
        throw IOException("Vst-plugin refused to load bank");
    if (header.format == vst2BankChunkMagic)
        readBankChunk();
    else
        readBankPrograms(header, count);
    if (header.version > 1)
        dispatch(effSetProgram, 0, currentProgram);
    dispatch(effEndSetProgram);
}

void Vst2PresetReader::readBankChunk() {
    if (const int32_t size = stream->readInt32(); size != 0)
        handOverChunk(bankChunk, size);
}

void Vst2PresetReader::readBankPrograms(const Header& header, int32_t count) {
    // Oddity bank-begin-program-twice: the bank has begun it already.
    dispatch(effBeginSetProgram);
    const int32_t taken = std::min(count, effect.numPrograms);
    for (int32_t i = 0; i < taken; ++i)
        readBankProgram(header, i);
}

void Vst2PresetReader::readBankProgram(const Header& header, int32_t index) {
    const auto is = [&](int32_t magic, int32_t expected) {
        return magic == expected || (header.isLittleEndian && magic == reversed(expected));
    };
    dispatch(effSetProgram, 0, index);
    const int32_t magic = stream->readInt32();
    stream->readInt32(); // the size of the rest
    const int32_t format = stream->readInt32();
    if (!is(magic, vst2ChunkMagic) || !is(format, vst2ProgramMagic))
        throw IOException(concat("Incorrect program format id for progam ", index)); // text fixed by clients
    stream->readInt32(); // the version of the form
    const int32_t uniqueId = stream->readInt32();
    stream->readInt32(); // the plug-in's version
    const int32_t count = stream->readInt32();
    if (!isForEffect(uniqueId))
        throw IOException(concat("Incorrect unique id for program ", index));
    char name[vst2ProgramNameSize + 1] = {};
    stream->readFully(name, vst2ProgramNameSize);
    dispatch(effSetProgramName, 0, 0, name);
    readParameters(count);
}

void Vst2PresetReader::readParameters(int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const auto value = std::bit_cast<float>(stream->readInt32());
        if (i < effect.numParams)
            callSetParameter(&effect, i, value);
    }
}

void Vst2PresetReader::handOverChunk(int32_t index, int32_t size) {
    if (size < 0)
        throw IOException("Data size is negative");
    const size_t left = stream->available();
    if (static_cast<size_t>(size) > left)
        throw EOSException();
    // From `malloc`, for the alignment that plug-ins rely on, with a zero appended, as for all data.
    const std::unique_ptr<uint8_t[], decltype(&std::free)> chunk(
        static_cast<uint8_t*>(std::malloc(static_cast<size_t>(size) + 1)), std::free);
    if (!chunk)
        throw std::bad_alloc();
    stream->readFully(chunk.get(), static_cast<size_t>(size));
    chunk[static_cast<size_t>(size)] = 0;
    dispatch(effSetChunk, index, size, chunk.get());
}

void Vst2PresetReader::readText() {
    constexpr std::string_view scaleLine = "\nGScale=";
    const auto end = file.end() - 1;
    const auto found = std::search(file.begin(), end, scaleLine.begin(), scaleLine.end());
    if (found != end) {
        const auto line = found + 1;
        std::fill(line, std::find(line, end, uint8_t{'\n'}), uint8_t{' '});
    }
    readChunk();
}

void Vst2PresetReader::readRiff() {
    const Ref<base::core::RIFFInputStream> riff(new base::core::RIFFInputStream(stream));
    try {
        riff->nextChunk(); // the form
        riff->readInt32(); // its type
        for (riff->nextChunk(); !(riff->getChunkId() == "PCHK"); riff->nextChunk())
            riff->skip(riff->getChunkSize());
    } catch (const EOSException&) {
        throw IOException("No plugin data chunk found in NKSF file");
    }
    constexpr uint32_t kindSize = sizeof(int32_t);
    const uint32_t size = riff->getChunkSize();
    if (size < kindSize)
        throw IOException("PCHK chunk must be at least 4 bytes long");
    const auto kind = static_cast<uint32_t>(riff->readNativeInt32());
    if (kind > programChunk)
        throw IOException("Expected 0 or 1 for if bank or preset");
    handOverChunk(static_cast<int32_t>(kind), static_cast<int32_t>(size - kindSize));
}

void Vst2PresetReader::readChunk() {
    dispatch(effSetChunk, programChunk, static_cast<VstIntPtr>(fileSize), file.data());
}

bool Vst2PresetReader::isForEffect(int32_t uniqueId) const {
    return uniqueId == effect.uniqueID || isKnownPair(uniqueId, effect.uniqueID);
}
