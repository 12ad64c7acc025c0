// The smallest client: plays ten blocks of a sine through a plug-in that runs in a process of its own.
//
//     smallest-client build/plugin-host build/example-plugins/echo.so

#include <algorithm>
#include <cmath>
#include <iostream>
#include <plugin-host/client.hpp>

int main(int count, char** arguments) try {
    if (count != 3)
        return 2;
    plugin_host::session session({.program_32 = arguments[1], .program_64 = arguments[1]});
    plugin_host::plugin plugin(session, {.path = arguments[2]});
    const int blockSize = plugin.host_info().block_size;
    float peak = 0;
    plugin.start();
    for (int time = 0; time < 10 * blockSize; time += blockSize) {
        for (float* channel : plugin.begin().channels)
            for (int frame = 0; frame < blockSize; ++frame)
                channel[frame] = std::sin(0.0627F * float(time + frame)); // 440 Hz
        for (const float* channel : plugin.process(blockSize).channels)
            for (int frame = 0; frame < blockSize; ++frame)
                peak = std::max(peak, std::abs(channel[frame]));
    }
    plugin.stop();
    std::cout << "peak " << peak << "\n";
} catch (const plugin_host::error& failure) {
    std::cerr << failure.what() << "\n";
    return 1;
}
