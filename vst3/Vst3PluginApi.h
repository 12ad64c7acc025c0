#pragma once

#include "plugin/PluginApi.h"

/// The VST 3 format, which this program doesn't load yet: every file is refused.
class Vst3PluginApi final : public PluginApi {
public:
    static Vst3PluginApi instance;

    String getName() const override;
    Plugin* createPlugin(PluginHost* host, const String& path) override;
};
