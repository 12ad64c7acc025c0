#pragma once

#include "plugin/CoreNames.h"

class Plugin;
class PluginHostContext;

/// A plug-in format. One object for each lives as long as the process and is shared by all threads.
class PluginApi {
public:
    /// For the report; no decision depends on it.
    virtual String getName() const = 0;
    /// Whether a file of this path is of the format.
    virtual bool loads(const String& path) const = 0;
    /// Loads a file. Main thread. Never null; a file that can't be loaded throws `PluginException`.
    virtual Plugin* createPlugin(PluginHostContext* host, const String& path) = 0;

protected:
    constexpr PluginApi() = default;
    ~PluginApi() = default;
};
