#pragma once

#include "plugin/CoreNames.h"
#include "plugin/PluginBundle.h"

#include <optional>

// What a client can see of a plug-in before a host loads it. No code of the plug-in runs.

enum class PluginFormat { vst2, vst3 };

/// Which hosts can load a path.
struct PluginFile {
    /// By the path alone, as in a host.
    PluginFormat format = PluginFormat::vst2;
    /// The library that a 32-bit host opens, by the headers of that file; empty if it isn't one for such a
    /// host.
    String library32;
    /// The same of a 64-bit host.
    String library64;
    /// Why neither host can load it, in one line; empty if one can.
    String problem;

    const String& getLibrary(HostWidth width) const {
        return width == HostWidth::bits32 ? library32 : library64;
    }

    /// That of this process if both kinds of hosts can load it; no value if neither can.
    std::optional<HostWidth> chooseWidth() const {
        for (const HostWidth width : {ownWidth, otherWidth}) {
            if (!getLibrary(width).isEmpty())
                return width;
        }
        return {};
    }
};

/// Looks at a plug-in's path: a library, a VST 3 bundle, or a symbolic link to either. Libraries of bundles
/// are those that hosts with the extension `bundle` open; without it, a 32-bit host opens the one in
/// `x86_64-linux` alone. Reads the headers of at most two files, and never blocks on a FIFO or a device.
/// Throws `IOException`, in one line, if the path doesn't exist, or is neither a file nor a bundle. Any
/// thread.
PluginFile inspectPluginFile(const String& path);
