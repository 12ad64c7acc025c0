#pragma once

#include "plugin/Plugin.h"
#include "vst3/Vst3Names.h"

#include <map>
#include <pluginterfaces/base/ipluginbase.h>
#include <vector>

class PluginHostContext;

/// One loaded VST 3 module: its class factory and the audio classes of the factory. A class is identified by
/// its identifier text, see `classIdText`. The module is never closed and its exit function never called,
/// since instances outlive this object.
class Vst3Plugin : public Plugin {
public:
    Vst3Plugin(PluginHostContext* host, const String& path);
    ~Vst3Plugin() override;

    /// Turns a bundle's path into that of the library in it, opens the library and reads its classes. Once.
    /// Throws `PluginException`; a module without a factory is no failure, and not valid.
    void load();

    bool isValid() const override;
    /// `identifier` is a class's identifier text; an empty one selects the only class of a module that has
    /// one. Any other text gives an instance that isn't open. Logs the identifier to stderr.
    PluginInstance* createInstance(int32_t instanceId, const String& identifier, bool dpiAware) override;
    void getPluginIds(std::vector<String>& list) override;
    PluginApi* getApi() const override;

    struct TextOrder {
        bool operator()(const String& a, const String& b) const { return String::compare(a, b) < 0; }
    };

    // What the module offers; only grows once it is loaded. Main thread.

    IPtr<Steinberg::IPluginFactory> factory;
    IPtr<Steinberg::IPluginFactory2> factory2;
    /// In the factory's order; a class that the factory lists twice is here twice.
    std::vector<String> classIds;
    /// By identifier text.
    std::map<String, Steinberg::PClassInfo, TextOrder> classInfos;
    std::map<String, Steinberg::PClassInfo2, TextOrder> classInfos2;

private:
    void resolveBundle();
    void loadModule();
    void readClasses();

    /// Queried, never used and never released.
    Steinberg::IPluginFactory3* factory3 = nullptr;
    void* moduleHandle = nullptr;
    PluginHostContext* host;
};
