#pragma once

#include "plugin/PluginApi.h"

/// The VST 3 format.
class Vst3PluginApi final : public PluginApi {
public:
    static Vst3PluginApi instance;

    String getName() const override;
    /// `path` is a module file or a bundle folder.
    Plugin* createPlugin(PluginHost* host, const String& path) override;
};
