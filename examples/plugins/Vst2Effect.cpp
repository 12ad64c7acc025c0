#include "plugins/Vst2Effect.h"

#include <cstdio>

namespace {

constexpr size_t textSize = 64; // bytes that a host's buffer for a text holds at least
constexpr VstIntPtr interfaceVersion = 2400;

VstIntPtr answerText(void* target, const char* text) {
    std::snprintf(static_cast<char*>(target), textSize, "%s", text);
    return 1;
}

} // namespace

Vst2Effect::Vst2Effect(audioMasterCallback hostCallback, const Vst2EffectTraits& traits)
    : hostCallback(hostCallback), traits(traits),
      values(std::make_unique<std::atomic<float>[]>(static_cast<size_t>(traits.parameters))) {
    effect.magic = kEffectMagic;
    effect.dispatcher = [](AEffect* self, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                           float opt) -> VstIntPtr {
        if (opcode == effClose) {
            of(self).dispatch(opcode, index, value, ptr, opt);
            delete &of(self);
            return 1;
        }
        return of(self).dispatch(opcode, index, value, ptr, opt);
    };
    effect.process = [](AEffect* self, float** inputs, float** outputs, VstInt32 frames) {
        of(self).processAccumulating(inputs, outputs, frames);
    };
    effect.processReplacing = [](AEffect* self, float** inputs, float** outputs, VstInt32 frames) {
        of(self).processReplacing(inputs, outputs, frames);
    };
    effect.setParameter = [](AEffect* self, VstInt32 index, float value) {
        of(self).setParameter(index, value);
    };
    effect.getParameter = [](AEffect* self, VstInt32 index) { return of(self).getParameter(index); };
    effect.numPrograms = traits.programs;
    effect.numParams = traits.parameters;
    effect.numInputs = traits.inputs;
    effect.numOutputs = traits.outputs;
    effect.flags = traits.flags | (traits.hasDials ? effFlagsHasEditor : 0);
    effect.initialDelay = traits.latency;
    effect.ioRatio = 1;
    effect.object = this;
    effect.uniqueID = traits.uniqueId;
    effect.version = 1;
}

Vst2Effect::~Vst2Effect() = default;

VstIntPtr Vst2Effect::dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    switch (opcode) {
    case effSetSampleRate:
        setSampleRate(opt);
        return 0;
    case effSetBlockSize:
        setBlockSize(static_cast<int32_t>(value));
        return 0;
    case effMainsChanged:
        mainsChanged(value != 0);
        return 0;
    case effGetParamName:
        return answerText(ptr, getParameterName(index));
    case effGetParamLabel:
        return answerText(ptr, getParameterLabel(index));
    case effGetParamDisplay:
        getParameterDisplay(index, static_cast<char*>(ptr), textSize);
        return 0;
    case effEditGetRect:
        editorSize.right = static_cast<VstInt16>(DialEditor::getWidth(traits.parameters));
        editorSize.bottom = static_cast<VstInt16>(DialEditor::getHeight());
        *static_cast<ERect**>(ptr) = traits.hasDials ? &editorSize : nullptr;
        return traits.hasDials ? 1 : 0;
    case effEditOpen:
        if (DialSource& dials = *this; traits.hasDials)
            editor.emplace(dials, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(ptr)));
        return editor ? 1 : 0;
    case effEditClose:
        editor.reset();
        return 0;
    case effProcessEvents:
        processEvents(*static_cast<const VstEvents*>(ptr));
        return 1;
    case effCanBeAutomated:
        return 1;
    case effGetPlugCategory:
        return traits.category;
    case effGetEffectName:
    case effGetProductString:
        return answerText(ptr, traits.name);
    case effGetVendorString:
        return answerText(ptr, "Example Works");
    case effGetVendorVersion:
        return effect.version;
    case effCanDo:
        return canDo(static_cast<const char*>(ptr)) ? 1 : 0;
    case effGetTailSize:
        return getTailSize();
    case effIdle:
        idle();
        return 0;
    case effGetVstVersion:
        return interfaceVersion;
    default:
        return 0;
    }
}

void Vst2Effect::processAccumulating(float**, float**, int32_t) {}

void Vst2Effect::setParameter(int32_t index, float value) {
    if (index >= 0 && index < traits.parameters)
        values[static_cast<size_t>(index)].store(value, std::memory_order_relaxed);
}

float Vst2Effect::getParameter(int32_t index) {
    if (index < 0 || index >= traits.parameters)
        return 0;
    return values[static_cast<size_t>(index)].load(std::memory_order_relaxed);
}

const char* Vst2Effect::getParameterName(int32_t) {
    return "";
}

const char* Vst2Effect::getParameterLabel(int32_t) {
    return "";
}

void Vst2Effect::getParameterDisplay(int32_t index, char* text, size_t size) {
    std::snprintf(text, size, "%.2f", static_cast<double>(getParameter(index)));
}

bool Vst2Effect::canDo(const char*) {
    return false;
}

void Vst2Effect::setSampleRate(float newSampleRate) {
    sampleRate = newSampleRate;
}

void Vst2Effect::setBlockSize(int32_t newBlockSize) {
    blockSize = newBlockSize;
}

void Vst2Effect::mainsChanged(bool) {}

void Vst2Effect::processEvents(const VstEvents&) {}

VstIntPtr Vst2Effect::getTailSize() {
    return 0;
}

void Vst2Effect::idle() {}

std::string Vst2Effect::getDialText(int32_t index) {
    char text[textSize] = {};
    getParameterDisplay(index, text, sizeof text);
    return std::string(text) + " " + getParameterLabel(index);
}

void Vst2Effect::drag(int32_t index, float value) {
    setParameter(index, value);
    callHost(audioMasterAutomate, index, 0, nullptr, value);
}

VstIntPtr Vst2Effect::callHost(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    return hostCallback(&effect, opcode, index, value, ptr, opt);
}
