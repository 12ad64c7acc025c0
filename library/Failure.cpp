#include "library/Failure.h"

#include "client/PluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "client/StartWatch.h"
#include "core/Exception.h"
#include "plugin/PluginException.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

namespace client_library {
namespace {

constexpr size_t errorSize = 1024;
thread_local char errorText[errorSize];

plugin_host_status statusOf(const StartException& exception) {
    switch (exception.reason) {
    case StartException::Reason::timedOut:
        return PLUGIN_HOST_TIMED_OUT;
    case StartException::Reason::cancelled:
        return PLUGIN_HOST_CANCELLED;
    default:
        return PLUGIN_HOST_START_FAILED;
    }
}

plugin_host_status statusOf(const IOException& exception) {
    return String::compare(exception.getMessage(), PluginHostProxy::lostMessage) == 0
               ? PLUGIN_HOST_DEAD
               : PLUGIN_HOST_SYSTEM_ERROR;
}

Failure translate() {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const StartException& exception) {
        return {statusOf(exception), exception.getMessage()};
    } catch (const ReplyTimeout& exception) {
        return {PLUGIN_HOST_TIMED_OUT, exception.getMessage()};
    } catch (const PluginException& exception) {
        return {PLUGIN_HOST_REFUSED, exception.getMessage()};
    } catch (const IOException& exception) {
        return {statusOf(exception), exception.getMessage()};
    } catch (const Exception& exception) {
        return {PLUGIN_HOST_SYSTEM_ERROR, exception.getMessage()};
    } catch (const std::bad_alloc&) {
        return {PLUGIN_HOST_NO_MEMORY, "no memory"};
    } catch (const std::exception& exception) {
        return {PLUGIN_HOST_SYSTEM_ERROR, exception.what()};
    } catch (...) {
        return {PLUGIN_HOST_SYSTEM_ERROR, "unknown failure"};
    }
}

} // namespace

Failure currentFailure() noexcept {
    try {
        return translate();
    } catch (...) {
        return {PLUGIN_HOST_NO_MEMORY, "no memory"}; // short enough for no allocation
    }
}

void keepError(const char* text) noexcept {
    const size_t length = std::min(std::strlen(text), errorSize - 1);
    std::memcpy(errorText, text, length);
    errorText[length] = '\0';
    // Messages of several lines, as those of the audio block's memory, become one.
    std::replace(errorText, errorText + length, '\n', ' ');
}

const char* lastError() noexcept {
    return errorText;
}

} // namespace client_library
