#include "vst3/Vst3Plugin.h"

#include "core/Log.h"
#include "plugin/Extensions.h"
#include "plugin/PluginBundle.h"
#include "plugin/PluginException.h"
#include "plugin/PluginText.h"
#include "vst3/Vst3PluginApi.h"
#include "vst3/Vst3PluginInstance.h"
#include "vst3/Vst3Text.h"

#include <cstring>
#include <dlfcn.h>

namespace {

using EntryFunction = bool (*)(void* moduleHandle);
using FactoryFunction = Steinberg::IPluginFactory* (*)();

} // namespace

Vst3Plugin::Vst3Plugin(PluginHostContext* host, const String& path) : Plugin(path), host(host) {}

Vst3Plugin::~Vst3Plugin() = default;

void Vst3Plugin::load() {
    resolveBundle();
    loadModule();
    if (factory)
        readClasses();
}

bool Vst3Plugin::isValid() const {
    return factory.get() != nullptr;
}

PluginInstance* Vst3Plugin::createInstance(int32_t instanceId, const String& identifier, bool dpiAware) {
    // Oddity identifier-logged: of each instance, as a line of its own.
    base::core::logError(identifier);
    const String& chosen = identifier.isEmpty() && classIds.size() == 1 ? classIds.front() : identifier;
    auto* instance = new Vst3PluginInstance(host, this, instanceId, chosen, dpiAware);
    instance->createComponents();
    return instance;
}

void Vst3Plugin::getPluginIds(std::vector<String>& list) {
    list.insert(list.end(), classIds.begin(), classIds.end());
}

PluginApi* Vst3Plugin::getApi() const {
    return &Vst3PluginApi::instance;
}

void Vst3Plugin::resolveBundle() {
    path = vst3Library(path, ownWidth, isEnabled(Extension::bundle));
}

void Vst3Plugin::loadModule() {
    moduleHandle = dlopen(path.toStdString().c_str(), RTLD_NOW);
    if (moduleHandle == nullptr)
        throw PluginException(concat("Failed to load VST plug-in ", path, ": ", pluginText(dlerror())));
    if (const auto enter = reinterpret_cast<EntryFunction>(dlsym(moduleHandle, "ModuleEntry"));
        enter != nullptr && !enter(moduleHandle)) {
        // Oddity misspelt-texts: "to initialized".
        throw PluginException(
            concat("Failed to initialized VST plug-in ", path, ": ModuleInit() returned false"));
    }
    const auto getFactory = reinterpret_cast<FactoryFunction>(dlsym(moduleHandle, "GetPluginFactory"));
    if (getFactory == nullptr)
        return;
    factory = Steinberg::owned(getFactory());
    factory2 = checkedInterfaceOf<Steinberg::IPluginFactory2>(factory);
    factory3 = checkedInterfaceOf<Steinberg::IPluginFactory3>(factory).take();
}

void Vst3Plugin::readClasses() {
    Steinberg::PFactoryInfo ignored{};
    factory->getFactoryInfo(&ignored);
    // Queried anew each time: a factory may grow while it is read.
    for (int32_t i = 0; i < factory->countClasses(); ++i) {
        Steinberg::PClassInfo info{};
        factory->getClassInfo(i, &info);
        if (std::strncmp(info.category, kVstAudioEffectClass, sizeof info.category) != 0)
            continue;
        const String identifier = classIdText(FUID::fromTUID(info.cid));
        classIds.push_back(identifier);
        classInfos[identifier] = info;
        if (factory2) {
            Steinberg::PClassInfo2 info2{};
            factory2->getClassInfo2(i, &info2);
            classInfos2[identifier] = info2;
        }
    }
}
