/* A client in C: describes a plug-in, and plays one block. The arguments are the host's program and the plug-in. */

#include <plugin-host/client.h>

#include <stdio.h>

static int fail(const char *what) {
    fprintf(stderr, "%s: %s\n", what, plugin_host_error());
    return 1;
}

int main(int argc, char **argv) {
    plugin_host_session_options session_options = {.size = sizeof session_options};
    plugin_host_plugin_options options = {.size = sizeof options};
    plugin_host_input input = {.size = sizeof input};
    plugin_host_output output = {.size = sizeof output};
    const plugin_host_description *description = NULL;
    plugin_host_session *session = NULL;
    plugin_host_plugin *plugin = NULL;
    if (argc != 3)
        return 2;
    session_options.program_32 = argv[1];
    session_options.program_64 = argv[1];
    session_options.cache_directory = "";
    options.path = argv[2];
    if (plugin_host_session_create(&session_options, &session) != PLUGIN_HOST_OK)
        return fail("session");
    if (plugin_host_plugin_create(session, &options, &plugin) != PLUGIN_HOST_OK)
        return fail("plugin");
    if (plugin_host_plugin_describe(plugin, &description) != PLUGIN_HOST_OK)
        return fail("description");
    printf("%s, %u inputs, %u outputs, %u parameters\n", description->name,
           (unsigned)description->input_channel_count, (unsigned)description->output_channel_count,
           (unsigned)description->parameter_count);
    plugin_host_description_free(description);
    if (plugin_host_plugin_start(plugin) != PLUGIN_HOST_OK || plugin_host_plugin_begin(plugin, &input) != PLUGIN_HOST_OK)
        return fail("start");
    input.channels[0][0] = 1;
    if (plugin_host_plugin_process(plugin, 256, 0, &output) != PLUGIN_HOST_OK)
        return fail("block");
    printf("%.1f\n", (double)output.channels[0][0]);
    plugin_host_plugin_stop(plugin);
    plugin_host_plugin_destroy(plugin);
    plugin_host_session_destroy(session);
    return 0;
}
