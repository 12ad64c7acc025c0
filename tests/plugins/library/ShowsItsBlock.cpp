// An effect whose left output is what its host says of the block, and whose right output is its left input.
// It sends back each MIDI message. Its state is a chunk: of the bytes that were loaded, or by its program of
// five million bytes or of none. A chunk that begins with "wrong" is refused.

#include "plugins/library/BlockShown.h"
#include "plugins/vst2/TestEffect.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr size_t hugeSize = 5'000'000;
constexpr int32_t mostEvents = 512;

class ShowsItsBlock : public SilentEffect {
public:
    explicit ShowsItsBlock(audioMasterCallback host)
        : SilentEffect(host, {.uniqueId = 0x53686f77,
                              .name = "Shows Its Block",
                              .parameters = 4,
                              .programs = 3,
                              .flags = effFlagsCanReplacing | effFlagsProgramChunks}),
          chunk("at first") {
        events.reserve(mostEvents);
    }

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        switch (opcode) {
        case effGetChunk:
            *static_cast<void**>(ptr) = chunk.data();
            return static_cast<VstIntPtr>(chunk.size());
        case effSetChunk:
            return load({static_cast<const char*>(ptr), static_cast<size_t>(value)});
        case effSetProgram:
            program = static_cast<int32_t>(value);
            chooseChunk();
            return 0;
        case effGetProgram:
            return program;
        case effGetProgramNameIndexed:
            std::snprintf(static_cast<char*>(ptr), 24, "Program %d", index);
            return 1;
        default:
            return SilentEffect::dispatch(opcode, index, value, ptr, opt);
        }
    }

    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        float shown[shownCount] = {};
        show(shown, frames);
        std::fill_n(outputs[0], frames, 0.0F);
        std::copy_n(shown, std::min<int32_t>(frames, shownCount), outputs[0]);
        std::copy_n(inputs[0], frames, outputs[1]);
        sendBack();
        events.clear();
        dump = {};
        changeCount = 0;
    }

    void setParameter(int32_t index, float value) override {
        ++changeCount;
        SilentEffect::setParameter(index, value);
    }

    const char* getParameterName(int32_t index) override {
        constexpr const char* names[] = {"One", "Two", "Three", "Four"};
        return names[index];
    }
    const char* getParameterLabel(int32_t) override { return "units"; }

    void processEvents(const VstEvents& given) override {
        VstEvent* const* const list = given.events;
        for (int32_t i = 0; i < given.numEvents; ++i) {
            if (list[i]->type == kVstMidiType) {
                events.push_back(*reinterpret_cast<const VstMidiEvent*>(list[i]));
                continue;
            }
            const auto& sysex = *reinterpret_cast<const VstMidiSysexEvent*>(list[i]);
            dump.assign(sysex.sysexDump, static_cast<size_t>(sysex.dumpBytes));
            dumpFrame = sysex.deltaFrames;
        }
    }

    bool canDo(const char* ability) override {
        const std::string_view asked(ability);
        return asked == "receiveVstMidiEvent" || asked == "sendVstMidiEvent" ||
               asked == "receiveVstSysexEvent";
    }

private:
    VstIntPtr load(std::string_view bytes) {
        if (bytes.starts_with("wrong"))
            return 0;
        chunk = bytes;
        return 1;
    }

    void chooseChunk() {
        chunk.assign(program == 1 ? hugeSize : 0, 'h');
        if (program == 0)
            chunk = "at first";
    }

    void show(float* shown, int32_t frames) {
        if (const auto* time = reinterpret_cast<const VstTimeInfo*>(callHost(audioMasterGetTime))) {
            shown[shownFlags] = static_cast<float>(time->flags);
            shown[shownTempo] = static_cast<float>(time->tempo);
            shown[shownPosition] = static_cast<float>(time->ppqPos);
            shown[shownBarStart] = static_cast<float>(time->barStartPos);
            shown[shownLoopStart] = static_cast<float>(time->cycleStartPos);
            shown[shownLoopEnd] = static_cast<float>(time->cycleEndPos);
            shown[shownFrame] = static_cast<float>(time->samplePos);
            shown[shownSystemTime] = static_cast<float>(time->nanoSeconds);
            shown[shownNumerator] = static_cast<float>(time->timeSigNumerator);
            shown[shownDenominator] = static_cast<float>(time->timeSigDenominator);
            shown[shownSampleRate] = static_cast<float>(time->sampleRate);
        }
        shown[shownProcessLevel] = static_cast<float>(callHost(audioMasterGetCurrentProcessLevel));
        shown[shownInputLatency] = static_cast<float>(callHost(audioMasterGetInputLatency));
        shown[shownOutputLatency] = static_cast<float>(callHost(audioMasterGetOutputLatency));
        shown[shownFrameCount] = static_cast<float>(frames);
        shown[shownEventCount] = static_cast<float>(events.size());
        shown[shownDumpSize] = static_cast<float>(dump.size());
        if (!dump.empty()) {
            shown[shownDumpFirst] = static_cast<uint8_t>(dump.front());
            shown[shownDumpLast] = static_cast<uint8_t>(dump.back());
            shown[shownDumpFrame] = static_cast<float>(dumpFrame);
        }
        shown[shownChangeCount] = static_cast<float>(changeCount);
        for (int32_t index = 0; index < 4; ++index)
            shown[shownFirstParameter + index] = getParameter(index);
    }

    void sendBack() {
        struct {
            VstEvents head;
            VstEvent* more[mostEvents];
        } list{};
        VstEvent** const places = list.head.events;
        for (VstMidiEvent& event : events)
            places[list.head.numEvents++] = reinterpret_cast<VstEvent*>(&event);
        callHost(audioMasterProcessEvents, 0, 0, &list);
    }

    std::string chunk;
    int32_t program = 0;
    int32_t changeCount = 0;
    std::vector<VstMidiEvent> events;
    std::string dump;
    int32_t dumpFrame = 0;
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ShowsItsBlock(host))->getEffect();
}
