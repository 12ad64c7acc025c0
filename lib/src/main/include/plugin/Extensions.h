#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

/// What a host does beyond its fixed behaviour, each off unless `TANVEX_PLUGIN_HOST_EXTENSIONS` names it; see
/// docs/extensions.md.
enum class Extension : uint8_t {
    text,
    bundle,
    cycles,
    runLoop,
};

struct ExtensionName {
    Extension extension;
    const char* name;
};

/// The names in the environment variable, all extensions once. At most 32.
inline constexpr ExtensionName extensionNames[] = {
    {Extension::text, "text"},
    {Extension::bundle, "bundle"},
    {Extension::cycles, "cycles"},
    {Extension::runLoop, "run-loop"},
};

/// A set of extensions.
class ExtensionSet {
public:
    constexpr ExtensionSet() = default;
    constexpr ExtensionSet(std::initializer_list<Extension> extensions) {
        for (const Extension extension : extensions)
            insert(extension);
    }

    constexpr void insert(Extension extension) { bits |= bitOf(extension); }
    constexpr bool contains(Extension extension) const { return (bits & bitOf(extension)) != 0; }
    friend constexpr bool operator==(ExtensionSet, ExtensionSet) = default;

private:
    static constexpr uint32_t bitOf(Extension extension) { return 1u << static_cast<uint32_t>(extension); }

    uint32_t bits = 0;
};

struct ParsedExtensions {
    ExtensionSet enabled;
    /// In the text's order, each once.
    std::vector<std::string> unknown;
};

/// Reads names separated by commas; blanks around a name and empty names are ignored. Case matters.
ParsedExtensions parseExtensions(std::string_view text);

/// Enables what the environment names, and logs each name that is unknown; only the first call in a process
/// has an effect. The constructor of `PluginHostContext` calls it, so that it precedes each worker.
void readExtensions();

/// Before `readExtensions` none is enabled. Never reads the environment, and never blocks. Any thread.
bool isEnabled(Extension extension);

/// Enables exactly these in this process for a scope, for tests. Scopes nest, on one thread at a time.
class ScopedExtensions : public NonCopyable, public NonMovable {
public:
    explicit ScopedExtensions(ExtensionSet extensions);
    ~ScopedExtensions();

private:
    ExtensionSet former;
};
