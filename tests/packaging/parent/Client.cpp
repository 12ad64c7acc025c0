#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"

bool startsHost(const char* program) {
    const Ref<RemotePluginHostProxy> host(new RemotePluginHostProxy(program));
    return !host->isClosed();
}
