/* The smallest client in C: plays ten blocks of a sine through a plug-in that runs in a process of its own.
 *
 *     smallest-client-c build/plugin-host build/example-plugins/echo.so
 */

#include <math.h>
#include <plugin-host/client.h>
#include <stdio.h>

static plugin_host_status play(plugin_host_plugin *plugin, int time, int block_size, float *peak) {
    plugin_host_input input = {.size = sizeof input};
    plugin_host_output output = {.size = sizeof output};
    plugin_host_status status = plugin_host_plugin_begin(plugin, &input);
    for (size_t channel = 0; status == PLUGIN_HOST_OK && channel < input.channel_count; ++channel)
        for (int frame = 0; frame < block_size; ++frame)
            input.channels[channel][frame] = sinf(0.0627F * (float)(time + frame)); /* 440 Hz */
    if (status == PLUGIN_HOST_OK)
        status = plugin_host_plugin_process(plugin, (uint32_t)block_size, 0, &output);
    for (size_t channel = 0; status == PLUGIN_HOST_OK && channel < output.channel_count; ++channel)
        for (int frame = 0; frame < block_size; ++frame)
            *peak = fmaxf(*peak, fabsf(output.channels[channel][frame]));
    return status;
}

int main(int count, char **arguments) {
    if (count != 3)
        return 2;
    plugin_host_session *session = NULL;
    plugin_host_session_options hosts = {
        .size = sizeof hosts, .program_32 = arguments[1], .program_64 = arguments[1], .block_size = 256};
    plugin_host_plugin *plugin = NULL;
    plugin_host_plugin_options options = {.size = sizeof options, .path = arguments[2]};
    plugin_host_status status = plugin_host_session_create(&hosts, &session);
    if (status == PLUGIN_HOST_OK)
        status = plugin_host_plugin_create(session, &options, &plugin);
    if (status != PLUGIN_HOST_OK) {
        fprintf(stderr, "%s\n", plugin_host_error());
        return 1;
    }
    float peak = 0;
    status = plugin_host_plugin_start(plugin);
    for (int block = 0; status == PLUGIN_HOST_OK && block < 10; ++block)
        status = play(plugin, block * hosts.block_size, hosts.block_size, &peak);
    plugin_host_session_destroy(session); /* and its plug-in and host with it */
    if (status == PLUGIN_HOST_OK)
        printf("peak %g\n", (double)peak);
    else
        fprintf(stderr, "%s\n", plugin_host_status_text(status));
    return status != PLUGIN_HOST_OK;
}
