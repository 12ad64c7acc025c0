#pragma once

#include "core/MemoryInputStream.h"
#include "plugin/CoreNames.h"
#include "vst2/EffectCall.h"
#include "vst2/Vst24.h"

#include <cstdint>
#include <vector>

/// Hands a preset file to an effect. The file is read whole before, so that no size in it is believed beyond
/// what the file holds. A failure leaves the effect with what it has been handed until then. Main thread.
///
/// The forms are those of the VST 2.4 interface (".fxp" and ".fxb", big-endian, or little-endian by some
/// writers), and three whose data is opaque.
class Vst2PresetReader : public NonCopyable {
public:
    Vst2PresetReader(AEffect& effect, std::vector<uint8_t> bytes);

    // Each throws `IOException`; what stands in a file decides what it holds.

    /// A program or a bank in one of the two published forms, of values or of a chunk as the effect keeps its
    /// programs: an effect that has changed from one to the other can't read its old files.
    void readBankOrProgram();
    /// A text that the effect takes as a chunk, but for the line of its window's scale, which is blanked.
    void readText();
    /// The "PCHK" chunk of a RIFF file.
    void readRiff();
    /// The file as it is.
    void readChunk();

private:
    struct Header {
        int32_t format;
        int32_t version;
        /// A magic that was read in the file's own order stands reversed.
        bool isLittleEndian;
    };

    Header readHeader();
    void readProgram(const Header& header);
    void readBank(const Header& header);
    void readBankChunk();
    void readBankPrograms(const Header& header, int32_t count);
    void readBankProgram(const Header& header, int32_t index);
    void readParameters(int32_t count);
    /// Gives the effect the next `size` bytes, in memory of their own. `index` is 0 for a bank, 1 for a
    /// program.
    void handOverChunk(int32_t index, int32_t size);

    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr) {
        return callDispatcher(&effect, opcode, index, value, ptr);
    }
    bool isForEffect(int32_t uniqueId) const;

    AEffect& effect;
    /// Not above 2 GiB, and a zero behind it.
    std::vector<uint8_t> file;
    const size_t fileSize;
    const Ref<base::core::MemoryInputStream> stream;
};
