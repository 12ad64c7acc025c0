// A shell of three effects: "Louder", "Upside Down" and "Swap Sides".

#include "plugins/TrioSound.h"
#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr int32_t louderId = 0x54724C6F;
constexpr int32_t upsideDownId = 0x54725570;
constexpr int32_t swapSidesId = 0x54725377;

class Louder : public Vst2Effect {
public:
    explicit Louder(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = louderId,
                            .name = "Louder",
                            .parameters = 1,
                            .latency = LouderSound::latency,
                            .hasDials = true}) {
        setParameter(0, 0.5F);
    }

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        sound.render(getParameter(0), inputs, outputs, frames);
    }

    void mainsChanged(bool on) override {
        if (on)
            sound.clear();
    }

    VstIntPtr getTailSize() override { return 1; }
    const char* getParameterName(int32_t) override { return "Gain"; }

private:
    LouderSound sound;
};

class UpsideDown : public Vst2Effect {
public:
    explicit UpsideDown(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = upsideDownId, .name = "Upside Down"}) {}

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        renderUpsideDown(inputs, outputs, frames);
    }

    VstIntPtr getTailSize() override { return 1; }
};

class SwapSides : public Vst2Effect {
public:
    explicit SwapSides(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = swapSidesId, .name = "Swap Sides"}) {}

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        renderSwapSides(inputs, outputs, frames);
    }

    VstIntPtr getTailSize() override { return 1; }
};

/// The shell itself, which names the three effects: returned if none of them is requested.
class Shell : public Vst2Effect {
public:
    explicit Shell(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x54726930, .name = "Trio", .category = kPlugCategShell}) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (opcode != effShellGetNextPlugin)
            return Vst2Effect::dispatch(opcode, index, value, ptr, opt);
        constexpr struct {
            int32_t id;
            const char* name;
        } entries[] = {{louderId, "Louder"}, {upsideDownId, "Upside Down"}, {swapSidesId, "Swap Sides"}};
        if (next == std::size(entries)) {
            next = 0;
            return 0;
        }
        std::strcpy(static_cast<char*>(ptr), entries[next].name);
        return entries[next++].id;
    }

    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, 0.0F);
    }

private:
    size_t next = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    switch (host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0)) {
    case louderId:
        return (new Louder(host))->getEffect();
    case upsideDownId:
        return (new UpsideDown(host))->getEffect();
    case swapSidesId:
        return (new SwapSides(host))->getEffect();
    default:
        return (new Shell(host))->getEffect();
    }
}
