#pragma once

#include "plugin/CoreNames.h"
#include <plugin-host/client.h>

#include <string>

namespace client_library {

/// What a call of the interface answers with if it isn't done.
class Failure {
public:
    Failure(plugin_host_status status, const std::string& text) : status(status), text(text) {}
    Failure(plugin_host_status status, const String& text) : status(status), text(text.toStdString()) {}
    Failure(plugin_host_status status, const char* text) : status(status), text(text) {}

    const plugin_host_status status;
    /// One line.
    const std::string text;
};

/// The failure that the exception under way stands for. Only inside of a `catch`.
Failure currentFailure() noexcept;

/// Keeps a text as the calling thread's last one. Never throws.
void keepError(const char* text) noexcept;
/// Null-terminated, for as long as the thread lives or until the next.
const char* lastError() noexcept;

/// Does the work of a call: nothing that it throws leaves the library.
template <class Body>
plugin_host_status answer(const Body& body) noexcept {
    try {
        body();
        return PLUGIN_HOST_OK;
    } catch (...) {
        const Failure failure = currentFailure();
        keepError(failure.text.c_str());
        return failure.status;
    }
}

} // namespace client_library
