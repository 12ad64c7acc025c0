#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <vector>

class PluginApi;
class PluginInstance;

/// One loaded plug-in file. The host that loaded it owns it for the life of the process and never unloads it.
/// Main thread.
class Plugin : public Object {
public:
    explicit Plugin(const String& path);
    ~Plugin() override;

    /// Whether the file was opened and its entry point was found.
    virtual bool isValid() const = 0;
    /// Makes an instance, not yet initialised, of the plug-in that `identifier` selects in this file; an
    /// empty one selects the format's default. May return null. Throws `PluginException` and what reading the
    /// identifier throws.
    virtual PluginInstance* createInstance(int32_t instanceId, const String& identifier, bool dpiAware) = 0;
    /// Appends an identifier for each plug-in of the file, in the file's order.
    virtual void getPluginIds(std::vector<String>& list) = 0;
    /// The path that the file was loaded from, which a format may have changed.
    const String& getPath() const { return path; }
    virtual PluginApi* getApi() const = 0;

protected:
    String path;
};
