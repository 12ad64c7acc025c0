#include "client/RemotePluginAudioContextProxy.h"
#include "client/ReplyWaiter.h"

bool startsHost(const char* program) {
    const Ref<RemotePluginHostProxy> host(new RemotePluginHostProxy(program));
    return !host->isClosed();
}
