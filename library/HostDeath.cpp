#include "library/HostDeath.h"

#include <cstdio>

namespace client_library {
namespace {

std::string pathOf(const HostDeath::Blame& blame) {
    return blame.plugin ? blame.plugin->settings.path.toStdString() : blame.path;
}

std::string lasting(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, " for %.3f s", seconds);
    return text;
}

} // namespace

std::string HostDeath::describe() const {
    std::string text = "Plug-in host " + end;
    if (block.plugin)
        text += ", in a block of " + pathOf(block) + lasting(block.seconds);
    if (request != nullptr) {
        text += std::string(", in the request ") + request;
        if (const std::string path = pathOf(requestOf); !path.empty())
            text += " for " + path;
        text += lasting(requestOf.seconds);
    }
    return text;
}

void HostDeath::report(const plugin_host_callbacks& callbacks, plugin_host_host* host) const {
    const std::string text = describe();
    const std::string blockPath = pathOf(block);
    const std::string requestPath = pathOf(requestOf);
    plugin_host_death death{};
    death.size = sizeof death;
    death.signal = signal;
    death.exit_status = exitStatus;
    death.flags = isHung ? PLUGIN_HOST_HUNG : 0;
    death.text = text.c_str();
    if (block.plugin) {
        death.block_plugin = block.plugin->handle;
        death.block_path = blockPath.c_str();
        death.block_seconds = block.seconds;
    }
    if (request != nullptr) {
        death.request = request;
        death.request_seconds = requestOf.seconds;
    }
    if (requestOf.plugin)
        death.request_plugin = requestOf.plugin->handle;
    if (!requestPath.empty())
        death.request_path = requestPath.c_str();
    callbacks.host_died(callbacks.user_data, host, &death);
}

} // namespace client_library
