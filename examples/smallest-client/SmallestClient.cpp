// The smallest client: plays ten blocks of a sine through a plug-in that runs in a process of its own.
//
//     smallest-client build/plugin-host build/example-plugins/echo.so

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "plugin/PluginHostReplies.h"

#include <algorithm>
#include <cmath>
#include <iostream>

int main(int count, char** arguments) try {
    if (count != 3)
        return 2;
    const Ref<RemotePluginHostProxy> host(new RemotePluginHostProxy(arguments[1]));
    const Ref<ReplyWaiter> created(new ReplyWaiter(*host));
    host->createPluginInstance(arguments[2], "", "", false, nullptr, created);
    const auto plugin = created->waitFor<CreatePluginInstanceReply>(10);

    const Ref<RemotePluginAudioContextProxy> audio(new RemotePluginAudioContextProxy(host, *plugin));
    float peak = 0;
    audio->startProcessing();
    for (int time = 0; time < 10 * audio->blockSize; time += audio->blockSize) {
        audio->beginBlock();
        for (int channel = 0; channel < audio->inputChannelCount; ++channel)
            for (int frame = 0; frame < audio->blockSize; ++frame)
                audio->getInput(channel)[frame] = std::sin(0.0627F * float(time + frame)); // 440 Hz
        audio->process(audio->blockSize, true, false);
        for (int channel = 0; channel < audio->outputChannelCount; ++channel)
            for (const float sample : audio->getOutput(channel))
                peak = std::max(peak, std::abs(sample));
    }
    audio->stopProcessing();
    audio->drain(); // waits for the worker, so that the plug-in may be destroyed
    host->destroyPluginInstance(plugin->instanceId);
    std::cout << "peak " << peak << "\n";
} catch (const Exception& failure) {
    std::cerr << failure.getMessage().toStdString() << "\n";
    return 1;
}
