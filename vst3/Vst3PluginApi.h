#pragma once

#include "plugin/PluginApi.h"

/// The VST 3 format.
class Vst3PluginApi final : public PluginApi {
public:
    static Vst3PluginApi instance;

    String getName() const override;
    /// Oddity format-by-path-end: by the end of the path, without a dot and case-sensitively; the content
    /// isn't read.
    bool loads(const String& path) const override;
    /// `path` is a module file or a bundle folder.
    Plugin* createPlugin(PluginHostContext* host, const String& path) override;
};
