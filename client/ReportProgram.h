#pragma once

#include "plugin/PluginBundle.h"

#include <string>

/// Which program reports a plug-in file.
struct ReportProgram {
    /// Empty if no program does.
    std::string program;
    /// The file that it loads, which for a bundle lies inside of it.
    std::string library;
    /// Why no program does, in one line.
    std::string reason;
};

/// The host programs of an application; empty where it has none of a width.
struct HostPrograms {
    std::string program32;
    std::string program64;

    const std::string& get(HostWidth width) const {
        return width == HostWidth::bits32 ? program32 : program64;
    }
};

/// The program whose width the library of a plug-in has, by its headers; that of this process if the plug-in
/// has libraries of both. A bundle is looked at as by hosts with the extension `bundle`. Runs no code of the
/// plug-in. Any thread.
ReportProgram chooseReportProgram(const HostPrograms& programs, const std::string& path);
