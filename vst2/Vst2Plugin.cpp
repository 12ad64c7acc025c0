#include "vst2/Vst2Plugin.h"

#include "core/LeftAllocated.h"
#include "core/Number.h"
#include "plugin/PluginException.h"
#include "plugin/PluginText.h"
#include "vst2/EffectCall.h"
#include "vst2/Vst2HostCallback.h"
#include "vst2/Vst2PluginApi.h"
#include "vst2/Vst2PluginInstance.h"

#include <dlfcn.h>

namespace {

Relaxed<int32_t> currentShellPluginId = 0;

VstIntPtr dispatch(AEffect* effect, VstInt32 opcode, void* ptr = nullptr) {
    return callDispatcher(effect, opcode, 0, 0, ptr);
}

} // namespace

Vst2Plugin::Vst2Plugin(PluginHostContext* host, const String& path) : Plugin(path), host(host) {}

Vst2Plugin::~Vst2Plugin() {
    base::core::leaveAllocated(pendingEffect);
}

void Vst2Plugin::load() {
    moduleHandle = dlopen(path.toStdString().c_str(), RTLD_NOW);
    if (moduleHandle == nullptr)
        throw PluginException(concat("Failed to load VST plug-in ", path, ": ", pluginText(dlerror())));
    void* entry = dlsym(moduleHandle, "VSTPluginMain");
    if (entry == nullptr)
        entry = dlsym(moduleHandle, "main");
    if (entry == nullptr)
        throw PluginException("Plugin main function not found");
    mainFunction = reinterpret_cast<VstPluginMain>(entry);
}

bool Vst2Plugin::isValid() const {
    return mainFunction != nullptr;
}

PluginInstance* Vst2Plugin::createInstance(int32_t instanceId, const String& identifier, bool dpiAware) {
    const int32_t shellPluginId = identifier.isEmpty() ? 0 : base::core::parseInt(identifier);
    // Oddity instance-without-effect-leaks: not released when there is no effect.
    auto* instance = new Vst2PluginInstance(host, instanceId, dpiAware, this, shellPluginId);
    currentShellPluginId = shellPluginId;
    AEffect* effect = pendingEffect != nullptr ? pendingEffect : makeEffect();
    if (effect == nullptr) {
        base::core::leaveAllocated(instance);
        throw PluginException("createAEffectInstance returned NULL.");
    }
    instance->attach(effect);
    pendingEffect = nullptr;
    return instance;
}

void Vst2Plugin::getPluginIds(std::vector<String>& list) {
    AEffect* effect = makeEffect();
    if (effect == nullptr)
        throw PluginException("createAEffectInstance returned NULL");
    if (dispatch(effect, effGetPlugCategory) != kPlugCategShell) {
        list.push_back(String::fromInteger(effect->uniqueID));
        // One from an earlier list is leaked: no instance has taken it.
        base::core::leaveAllocated(pendingEffect);
        pendingEffect = effect;
        return;
    }
    char name[256] = {};
    while (const VstIntPtr id = dispatch(effect, effShellGetNextPlugin, name))
        list.push_back(String::fromInteger(static_cast<int32_t>(id)));
    // The shell's own effect stays alive and unused: closing it ends the effects of some shells.
    base::core::leaveAllocated(effect);
    // Tests the whole list, not what was added.
    if (list.empty())
        throw PluginException("Shell plug-in is empty");
}

PluginApi* Vst2Plugin::getApi() const {
    return &Vst2PluginApi::instance;
}

int32_t Vst2Plugin::getCurrentShellPluginId() {
    return currentShellPluginId;
}

AEffect* Vst2Plugin::makeEffect() const {
    EffectCall call;
    AEffect* effect = mainFunction != nullptr ? mainFunction(vst2HostCallback) : nullptr;
    call.finish();
    return effect != nullptr && effect->magic == kEffectMagic ? effect : nullptr;
}
