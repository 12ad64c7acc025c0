// A synthesiser none of whose texts can be sent as they are: they are Latin-1, or have a character above
// U+FFFF.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr const char* latin1 = "Fl\xFCgel";
constexpr const char* clef = "\xF0\x9D\x84\x9E!"; // U+1D11E

class TextsBeyondTheWire : public Vst2Effect {
public:
    explicit TextsBeyondTheWire(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x54657874,
                            .name = latin1,
                            .inputs = 0,
                            .outputs = 1,
                            .parameters = 2,
                            .programs = 1,
                            .flags = effFlagsCanReplacing | effFlagsIsSynth}) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        switch (opcode) {
        case effGetVendorString:
        case effGetProgramNameIndexed:
            std::strcpy(static_cast<char*>(ptr), latin1);
            return 1;
        case effGetOutputProperties:
            std::strcpy(static_cast<VstPinProperties*>(ptr)->label, clef);
            return 1;
        case effGetMidiKeyName:
            std::strcpy(static_cast<MidiKeyName*>(ptr)->keyName, latin1);
            return static_cast<MidiKeyName*>(ptr)->thisKeyNumber == 127;
        case effGetParameterProperties:
            if (index != 1)
                return 0;
            static_cast<VstParameterProperties*>(ptr)->flags = kVstParameterSupportsDisplayCategory;
            std::strcpy(static_cast<VstParameterProperties*>(ptr)->label, clef);
            std::strcpy(static_cast<VstParameterProperties*>(ptr)->categoryLabel, clef);
            return 1;
        default:
            return Vst2Effect::dispatch(opcode, index, value, ptr, opt);
        }
    }

    const char* getParameterName(int32_t) override { return latin1; }
    const char* getParameterLabel(int32_t) override { return "\xB5"; }
    void getParameterDisplay(int32_t, char* text, size_t) override { std::strcpy(text, clef); }

    void processReplacing(float**, float** outputs, int32_t frames) override {
        std::fill_n(outputs[0], frames, 0.0F);
    }
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new TextsBeyondTheWire(host))->getEffect();
}
