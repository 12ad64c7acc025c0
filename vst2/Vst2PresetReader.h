#pragma once

#include "core/MemoryInputStream.h"
#include "plugin/CoreNames.h"
#include "vst2/EffectCall.h"
#include "vst2/Vst24.h"

#include <cstdint>
#include <vector>

/// Loads a preset file into an effect. The file is read completely first, so that any size in it is checked
/// against its length. After a failure the effect keeps what it got before. Main thread.
///
/// The forms are those of the VST 2.4 interface (".fxp" and ".fxb", big-endian, or little-endian by some
/// writers), and three whose data is opaque.
class Vst2PresetReader : public NonCopyable {
public:
    Vst2PresetReader(AEffect& effect, std::vector<uint8_t> bytes);

    // Each throws `IOException`. The file's content decides what it is, not its name.

    /// A program or a bank in one of the two published forms, of values or of a chunk. The form has to be the
    /// one that the effect uses now: an effect that has changed from one to the other can't read its old
    /// files.
    void readBankOrProgram();
    /// A text that the effect gets as a chunk, with the line of its window's scale blanked.
    void readText();
    /// The "PCHK" chunk of a RIFF file.
    void readRiff();
    /// The file as it is.
    void readChunk();

private:
    struct Header {
        int32_t format;
        int32_t version;
        /// Magics that were read in the file's order are then reversed.
        bool isLittleEndian;
    };

    Header readHeader();
    void readProgram(const Header& header);
    void readBank(const Header& header);
    void readBankChunk();
    void readBankPrograms(const Header& header, int32_t count);
    void readBankProgram(const Header& header, int32_t index);
    void readParameters(int32_t count);
    /// Passes the next `size` bytes to the effect, in a separate allocation. `index` is 0 for a bank, 1 for a
    /// program.
    void handOverChunk(int32_t index, int32_t size);

    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr) {
        return callDispatcher(&effect, opcode, index, value, ptr);
    }
    bool isForEffect(int32_t uniqueId) const;

    AEffect& effect;
    /// Not above 2 GiB, with a zero appended.
    std::vector<uint8_t> file;
    const size_t fileSize;
    const Ref<base::core::MemoryInputStream> stream;
};
