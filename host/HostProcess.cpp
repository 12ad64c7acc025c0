#include "host/HostProcess.h"

#include "core/Number.h"
#include "host/PluginHost.h"
#include "host/RemotePluginHostProxyHandler.h"

#include <csignal>
#include <unistd.h>

void runHostProcess(const char* const arguments[4], void (*addFormats)(PluginHost&)) {
    using base::core::parseInt;
    const int32_t sampleRate = parseInt(arguments[0]);
    const int32_t blockSize = parseInt(arguments[1]);
    const int32_t hostId = parseInt(arguments[2]);
    const int32_t audioThreadCount = parseInt(arguments[3]);

    // A write to a client that is gone must fail instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);

    // Host and handler reference each other and are never destroyed: other threads still use them during the
    // exit.
    Ref<PluginHost> host(new PluginHost(sampleRate, blockSize));
    addFormats(*host);
    const Ref<RemotePluginHostProxyHandler> handler(new RemotePluginHostProxyHandler(host, hostId));
    host->handler = handler;
    handler->openPipes();
    handler->startAudioThreads(audioThreadCount);
    handler->startRequestThread();
    try {
        host->run();
    } catch (...) {
        _exit(-1);
    }
    host = nullptr;
    _exit(0);
}
