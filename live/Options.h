#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// A plug-in of the command line.
struct PluginChoice {
    /// Absolute.
    std::string path;
    /// Which plug-in of the file; empty for the only one.
    std::string identifier;
    /// The preset that is loaded and saved; empty for none.
    std::string preset;
};

/// A command line that isn't understood; its text is one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the command line asks for.
struct Options {
    bool showHelp = false;
    bool showVersion = false;
    bool midi = false;
    bool editor = false;
    bool pipeline = false;
    /// From the begin of a period; none: derived from the period.
    std::optional<std::chrono::nanoseconds> deadline;
    /// In the order of the chain; not empty, unless help or the version is asked for.
    std::vector<PluginChoice> plugins;
};

extern const char* const usageText;

/// Throws `UsageError`. Not for two threads at a time.
Options readOptions(int count, char** texts);
