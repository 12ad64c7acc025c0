// The client of client.c by the header for C++: client PROGRAM PLUGIN.
#include <plugin-host/client.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>

int main(int count, char** arguments) try {
    if (count != 3)
        return 2;
    std::printf("%s %d.%d.%d\n", std::string(plugin_host::version()).c_str(), PLUGIN_HOST_VERSION_MAJOR,
                PLUGIN_HOST_VERSION_MINOR, PLUGIN_HOST_VERSION_PATCH);
    plugin_host::session_options options;
    options.program_32 = options.program_64 = arguments[1];
    options.block_size = 256;
    plugin_host::session session(options);
    plugin_host::plugin_options plugin_options;
    plugin_options.path = arguments[2];
    plugin_host::plugin plugin(session, plugin_options);
    plugin.start();
    float peak = 0;
    for (int block = 0; block < 10; ++block) {
        for (float* const channel : plugin.begin().channels)
            std::fill_n(channel, 256, 0.5F);
        for (const float* const channel : plugin.process(256, PLUGIN_HOST_OFFLINE).channels)
            for (int frame = 0; frame < 256; ++frame)
                peak = std::max(peak, std::abs(channel[frame]));
    }
    std::printf("peak %.2f\n", static_cast<double>(peak));
    plugin.stop();
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
