#pragma once

#include "plugins/Vst2Effect.h"

#include <cstring>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

/// An effect that renders silence: the base of those plug-ins that tests don't listen to.
class SilentEffect : public Vst2Effect {
public:
    using Vst2Effect::Vst2Effect;

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int32_t channel = 0; channel < effect.numOutputs; ++channel)
            std::memset(outputs[channel], 0, static_cast<size_t>(frames) * sizeof(float));
    }
};

/// A shell's own effect, which names the plug-ins of its file.
class ShellEffect : public SilentEffect {
public:
    /// `ids` ends with a 0 and outlives the effect.
    ShellEffect(audioMasterCallback host, int32_t uniqueId, const char* name, const int32_t* ids)
        : SilentEffect(host, {.uniqueId = uniqueId, .name = name, .category = kPlugCategShell}), next(ids) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (opcode != effShellGetNextPlugin)
            return SilentEffect::dispatch(opcode, index, value, ptr, opt);
        return *next != 0 ? *next++ : 0;
    }

private:
    const int32_t* next;
};
