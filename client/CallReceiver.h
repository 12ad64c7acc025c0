#pragma once

#include "core/Log.h"
#include "plugin/CoreNames.h"

#include <exception>

/// Calls an object that the client has handed in: a manager, a listener, a reply handler. Exceptions are
/// logged under the receiver's name and end neither the calling thread nor the connection.
template <class Call>
void callReceiver(const char* receiver, const Call& call) noexcept {
    try {
        call();
    } catch (const Exception& exception) {
        base::core::logError(receiver, " failed: ", exception.getMessage());
    } catch (const std::exception& exception) {
        base::core::logError(receiver, " failed: ", exception.what());
    } catch (...) {
        base::core::logError(receiver, " failed: Unknown exception");
    }
}

/// The receivers' names in the log.
constexpr const char* managerName = "Plug-in host manager";
constexpr const char* listenerName = "Plug-in notification listener";
constexpr const char* replyHandlerName = "Plug-in reply handler";
