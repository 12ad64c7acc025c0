#pragma once

#include "plugin/Plugin.h"
#include "vst2/Vst24.h"

class PluginHostContext;

/// One loaded VST 2 file: an entry point, each call of which makes an effect. A shell file chooses the effect
/// by the host's answer to `audioMasterCurrentId` during that call. The answer is one value for the process,
/// so effects are made on the main thread alone. The module is never closed, since effects outlive this
/// object.
class Vst2Plugin : public Plugin {
public:
    Vst2Plugin(PluginHostContext* host, const String& path);
    ~Vst2Plugin() override;

    /// Opens the file and finds its entry point, "VSTPluginMain" or else "main". Once. Throws
    /// `PluginException`.
    void load();

    bool isValid() const override;
    /// `identifier` is a decimal number, which selects an effect of a shell and is ignored by other files.
    /// Throws `NumberFormatException`, before the entry point runs, and `PluginException`.
    PluginInstance* createInstance(int32_t instanceId, const String& identifier, bool dpiAware) override;
    /// Keeps the effect of a file that is no shell for the next `createInstance`. Throws `PluginException`.
    void getPluginIds(std::vector<String>& list) override;
    PluginApi* getApi() const override;

    /// The answer to `audioMasterCurrentId`: the number that the latest instance was made with. Any thread.
    static int32_t getCurrentShellPluginId();

private:
    /// A new effect, or null if the entry point gives nothing usable.
    AEffect* makeEffect() const;

    void* moduleHandle = nullptr;
    VstPluginMain mainFunction = nullptr;
    PluginHostContext* host;
    /// Made by `getPluginIds` for the next `createInstance`.
    AEffect* pendingEffect = nullptr;
};
