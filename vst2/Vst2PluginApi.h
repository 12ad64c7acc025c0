#pragma once

#include "plugin/PluginApi.h"

/// The VST 2 format.
class Vst2PluginApi final : public PluginApi {
public:
    static Vst2PluginApi instance;

    /// "VST 2.4".
    String getName() const override;
    /// Accepts any path: add this format last.
    bool loads(const String& path) const override;
    Plugin* createPlugin(PluginHostContext* host, const String& path) override;
};
