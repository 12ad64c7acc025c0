#include "plugin/Extensions.h"

#include "core/Log.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <mutex>

namespace {

constexpr const char* extensionsVariable = "TANVEX_PLUGIN_HOST_EXTENSIONS";
constexpr std::string_view blanks = " \t\n\v\f\r";

static_assert(std::size(extensionNames) <= 32);

std::once_flag environmentIsRead;
constinit std::atomic<ExtensionSet> enabledExtensions{ExtensionSet()};
static_assert(std::atomic<ExtensionSet>::is_always_lock_free);

std::string_view trim(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

void readEnvironment() {
    const char* text = std::getenv(extensionsVariable);
    if (text == nullptr)
        return;
    const ParsedExtensions parsed = parseExtensions(text);
    for (std::string name : parsed.unknown) {
        // So that it is one line.
        std::replace_if(
            name.begin(), name.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }, '?');
        base::core::logError("Unknown extension in ", extensionsVariable, ": ", name.c_str());
    }
    enabledExtensions.store(parsed.enabled, std::memory_order_relaxed);
}

} // namespace

ParsedExtensions parseExtensions(std::string_view text) {
    ParsedExtensions parsed;
    while (!text.empty()) {
        const size_t comma = std::min(text.find(','), text.size());
        const std::string_view name = trim(text.substr(0, comma));
        text.remove_prefix(std::min(comma + 1, text.size()));
        if (name.empty())
            continue;
        const auto* known = std::find_if(std::begin(extensionNames), std::end(extensionNames),
                                         [name](const ExtensionName& entry) { return entry.name == name; });
        if (known != std::end(extensionNames))
            parsed.enabled.insert(known->extension);
        else if (std::find(parsed.unknown.begin(), parsed.unknown.end(), name) == parsed.unknown.end())
            parsed.unknown.emplace_back(name);
    }
    return parsed;
}

void readExtensions() {
    std::call_once(environmentIsRead, readEnvironment);
}

bool isEnabled(Extension extension) {
    return enabledExtensions.load(std::memory_order_relaxed).contains(extension);
}

ScopedExtensions::ScopedExtensions(ExtensionSet extensions) {
    // A later reading would replace the set.
    readExtensions();
    former = enabledExtensions.exchange(extensions);
}

ScopedExtensions::~ScopedExtensions() {
    enabledExtensions.store(former);
}
