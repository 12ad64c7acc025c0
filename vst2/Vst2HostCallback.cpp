#include "vst2/Vst2HostCallback.h"

#include "plugin/PluginHostContext.h"
#include "vst2/EffectCall.h"
#include "vst2/Vst2Plugin.h"
#include "vst2/Vst2PluginInstance.h"

#include <algorithm>
#include <cstring>
#include <cxxabi.h>
#include <iterator>
#include <string_view>

namespace {

constexpr VstIntPtr vstVersion = 2400;
constexpr VstIntPtr hostVersion = 2202;
constexpr VstIntPtr languageEnglish = 1;

constexpr std::string_view hostAbilities[] = {
    "sendVstEvents",    "sendVstMidiEvent",    "sendVstSysexEvent",    "sendVstTimeInfo",
    "receiveVstEvents", "receiveVstMidiEvent", "receiveVstSysexEvent", "startStopProcess",
    "sizeWindow",       "supportShell",        "shellCategory",
};

VstIntPtr answerCanDo(const void* ability) {
    if (ability == nullptr)
        return 0;
    const std::string_view asked(static_cast<const char*>(ability));
    return std::find(std::begin(hostAbilities), std::end(hostAbilities), asked) != std::end(hostAbilities);
}

VstIntPtr answerText(void* target, const char* text) {
    if (target != nullptr)
        std::strcpy(static_cast<char*>(target), text);
    return 1;
}

// Oddity null-effect-faults: `audioMasterGetTime` is the one opcode that reads the link of a null effect, and
// the process faults. Volatile, so that the read happens.
#if defined(__SANITIZE_ADDRESS__)
__attribute__((no_sanitize("null", "address")))
#endif
VstIntPtr
readLinkUnguarded(AEffect* effect) {
    AEffect* volatile unguarded = effect;
    return *const_cast<volatile VstIntPtr*>(&unguarded->resvd1);
}

/// Answers that don't depend on the effect.
VstIntPtr answerForAnyEffect(VstInt32 opcode, void* ptr) {
    const PluginHostContext* host = PluginHostContext::getCurrent();
    switch (opcode) {
    case audioMasterVersion:
        return vstVersion;
    case audioMasterCurrentId:
        return Vst2Plugin::getCurrentShellPluginId();
    case audioMasterGetSampleRate:
        return host != nullptr ? host->sampleRate : 0;
    case audioMasterGetBlockSize:
        return host != nullptr ? host->blockSize : 0;
    case audioMasterGetVendorString:
        return answerText(ptr, "Tanvex");
    case audioMasterGetProductString:
        return answerText(ptr, "Tanvex Studio");
    case audioMasterGetVendorVersion:
        return hostVersion;
    case audioMasterCanDo:
        return answerCanDo(ptr);
    case audioMasterGetLanguage:
        return languageEnglish;
    default:
        return 0;
    }
}

/// Answers for an effect without an instance.
VstIntPtr answerForUnlinkedEffect(VstInt32 opcode, void* ptr) {
    switch (opcode) {
    case audioMasterIOChanged:
    case audioMasterSizeWindow:
    case audioMasterUpdateDisplay:
    case audioMasterBeginEdit:
    case audioMasterEndEdit:
        return 1;
    default:
        return answerForAnyEffect(opcode, ptr);
    }
}

VstIntPtr answerForEffect(AEffect& effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                          float opt) {
    const VstIntPtr link = Vst2PluginInstance::linkOf(effect);
    if (link == 0)
        return answerForUnlinkedEffect(opcode, ptr);
    if (link == Vst2PluginInstance::closedLink)
        return 0;
    Vst2PluginInstance* instance = Vst2PluginInstance::instanceOf(link);
    if (instance->closing)
        return 0;
    switch (opcode) {
    case audioMasterAutomate:
        return instance->parameterAutomated(index, opt);
    case audioMasterGetTime:
        return instance->queryTime();
    case audioMasterProcessEvents:
        return instance->receiveEvents(static_cast<const VstEvents*>(ptr));
    case audioMasterIOChanged:
    case audioMasterUpdateDisplay:
        return instance->everythingChanged();
    case audioMasterNeedIdle:
        return instance->requestIdle();
    case audioMasterSizeWindow:
        return instance->sizeWindow(index, static_cast<int32_t>(value));
    case audioMasterGetInputLatency:
        return instance->queryInputLatency();
    case audioMasterGetOutputLatency:
        return instance->queryOutputLatency();
    case audioMasterGetCurrentProcessLevel:
        return instance->currentProcessLevel();
    case audioMasterBeginEdit:
        instance->beginParameterEdit(index);
        return 1;
    case audioMasterEndEdit:
        instance->endParameterEdit(index);
        return 1;
    default:
        return answerForAnyEffect(opcode, ptr);
    }
}

} // namespace

VstIntPtr vst2HostCallback(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                           float opt) {
    if (opcode < 0 || opcode > audioMasterEndEdit)
        return 0;
    if (effect == nullptr)
        return opcode == audioMasterGetTime ? readLinkUnguarded(effect)
                                            : answerForUnlinkedEffect(opcode, ptr);
    try {
        const CallGate::Call call(Vst2PluginInstance::gateOf(effect));
        return answerForEffect(*effect, opcode, index, value, ptr, opt);
    } catch (const abi::__forced_unwind&) {
        // Not an exception: the thread is being cancelled.
        throw;
    } catch (...) {
        EffectCall::keepException();
        return 0;
    }
}
