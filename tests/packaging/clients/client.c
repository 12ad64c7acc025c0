/* Plays a plug-in by the installed library: client PROGRAM PLUGIN. PROGRAM is started as its host. Prints
 * the versions of library and header, and the peak of the plug-in's sound. */
#include <plugin-host/client.h>

#include <math.h>
#include <stdio.h>

static int fail(const char *what) {
    fprintf(stderr, "%s: %s\n", what, plugin_host_error());
    return 1;
}

static int play(plugin_host_plugin *plugin) {
    plugin_host_input input;
    plugin_host_output output;
    size_t channel;
    int frame, block;
    float peak = 0;

    if (plugin_host_plugin_start(plugin) != PLUGIN_HOST_OK)
        return fail("start");
    for (block = 0; block < 10; ++block) {
        input.size = sizeof input;
        output.size = sizeof output;
        if (plugin_host_plugin_begin(plugin, &input) != PLUGIN_HOST_OK)
            return fail("begin");
        for (channel = 0; channel < input.channel_count; ++channel)
            for (frame = 0; frame < 256; ++frame)
                input.channels[channel][frame] = 0.5F;
        if (plugin_host_plugin_process(plugin, 256, PLUGIN_HOST_OFFLINE, &output) != PLUGIN_HOST_OK)
            return fail("process");
        for (channel = 0; channel < output.channel_count; ++channel)
            for (frame = 0; frame < 256; ++frame)
                peak = fmaxf(peak, fabsf(output.channels[channel][frame]));
    }
    printf("peak %.2f\n", (double)peak);
    return plugin_host_plugin_stop(plugin) == PLUGIN_HOST_OK ? 0 : fail("stop");
}

int main(int count, char **arguments) {
    plugin_host_session *session;
    plugin_host_plugin *plugin;
    plugin_host_session_options options = {.size = sizeof options};
    plugin_host_plugin_options plugin_options = {.size = sizeof plugin_options};
    int status;

    if (count != 3)
        return 2;
    printf("%s %d.%d.%d\n", plugin_host_version(), PLUGIN_HOST_VERSION_MAJOR, PLUGIN_HOST_VERSION_MINOR,
           PLUGIN_HOST_VERSION_PATCH);
    options.program_32 = arguments[1];
    options.program_64 = arguments[1];
    options.block_size = 256;
    plugin_options.path = arguments[2];
    if (plugin_host_session_create(&options, &session) != PLUGIN_HOST_OK)
        return fail("session");
    if (plugin_host_plugin_create(session, &plugin_options, &plugin) != PLUGIN_HOST_OK)
        return fail("plug-in");
    status = play(plugin);
    if (plugin_host_session_destroy(session) != PLUGIN_HOST_OK)
        return fail("end");
    return status;
}
