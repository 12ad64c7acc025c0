#include <plugin-host/client.h>

bool startsHost(const char* program) {
    plugin_host_session_options options = {};
    options.size = sizeof options;
    options.program_32 = program;
    options.program_64 = program;
    plugin_host_session* session = nullptr;
    plugin_host_host* host = nullptr;
    if (plugin_host_session_create(&options, &session) != PLUGIN_HOST_OK)
        return false;
    const bool isStarted = plugin_host_host_start(session, nullptr, &host) == PLUGIN_HOST_OK;
    plugin_host_session_destroy(session);
    return isStarted;
}
