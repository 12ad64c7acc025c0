#pragma once

#include "core/Ref.h"
#include "library/ClientPlugin.h"
#include <plugin-host/client.h>

#include <string>

namespace client_library {

/// How a host ended, and what it was at.
struct HostDeath {
    /// What a plug-in was in for how long.
    struct Blame {
        Ref<ClientPlugin> plugin;
        /// For a plug-in that is gone already; else the plug-in's own counts.
        std::string path;
        double seconds = 0;
    };

    int32_t signal = 0;
    int32_t exitStatus = -1;
    /// "was ended by signal 11 (Segmentation fault)".
    std::string end;
    Blame block;
    /// Null for none.
    const char* request = nullptr;
    Blame requestOf;
    bool isHung = false;

    /// One line.
    std::string describe() const;
    /// Calls the application with it.
    void report(const plugin_host_callbacks& callbacks, plugin_host_host* host) const;
};

} // namespace client_library
