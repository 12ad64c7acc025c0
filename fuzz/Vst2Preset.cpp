// Any bytes as a preset file of one form, for effects of several kinds. A finding is a file that crashes the
// host when it is loaded.
//
// VST2_PRESET_READER is the operation of `Vst2PresetReader` that reads the form. It throws only
// `IOException`, and passes to the effect only data within the file and within the effect's limits. The
// memory limits of scripts/fuzz find allocations by unchecked sizes.

#include "fuzz/Require.h"
#include "support/RecordingEffect.h"
#include "vst2/Vst2PresetReader.h"

#include <cstring>
#include <numeric>
#include <vector>

using namespace test_support;

namespace {

constexpr VstInt32 goldenId = 0x54657374; // "Test", as in the corpus
constexpr VstInt32 idWithTwin = 0x70727355;

struct Kind {
    VstInt32 flags;
    VstInt32 programs;
    VstInt32 parameters;
    VstInt32 id = goldenId;
};

constexpr Kind kinds[] = {
    {.flags = 0, .programs = 3, .parameters = 2},
    {.flags = effFlagsProgramChunks, .programs = 3, .parameters = 2},
    {.flags = 0, .programs = 0, .parameters = 0},
    {.flags = 0, .programs = 128, .parameters = 500, .id = idWithTwin},
};

/// Accepts any preset, and reads all bytes that it gets.
class StrictEffect : public RecordingEffect {
public:
    StrictEffect(const Kind& kind, size_t fileSize) {
        effect.flags = kind.flags;
        effect.numPrograms = kind.programs;
        effect.numParams = kind.parameters;
        effect.uniqueID = kind.id;
        onSetParameter = [this](VstInt32 index, float) { require(index >= 0 && index < effect.numParams); };
        answer(effSetProgramName, [](const DispatcherCall&, void* ptr) {
            require(std::strlen(static_cast<const char*>(ptr)) <= 28);
            return VstIntPtr{1};
        });
        answer(effSetChunk, [fileSize](const DispatcherCall& call, void* ptr) {
            require(call.index == 0 || call.index == 1);
            require(call.value >= 0 && static_cast<size_t>(call.value) <= fileSize);
            const auto* bytes = static_cast<const uint8_t*>(ptr);
            return VstIntPtr{std::accumulate(bytes, bytes + call.value, 0)};
        });
    }
};

/// With room for the zero that the reader appends and no more, so that AddressSanitizer finds reads beyond
/// it.
std::vector<uint8_t> fileOf(const uint8_t* data, size_t size) {
    std::vector<uint8_t> file;
    file.reserve(size + 1);
    file.assign(data, data + size);
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const Kind& kind : kinds) {
        StrictEffect effect(kind, size);
        try {
            Vst2PresetReader(effect.effect, fileOf(data, size)).VST2_PRESET_READER();
        } catch (const IOException&) {
            // A failure for the client, not a finding.
        }
    }
    return 0;
}
