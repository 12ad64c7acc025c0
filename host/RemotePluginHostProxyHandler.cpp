#include "host/RemotePluginHostProxyHandler.h"

#include "host/RemotePluginAudioContext.h"
#include "plugin/Channels.h"
#include "plugin/Frames.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequest.h"

#include <cstdlib>
#include <sys/prctl.h>

using base::core::NamedPipe;

RemotePluginHostProxyHandler::RemotePluginHostProxyHandler(const Ref<PluginHostContext>& host, int32_t hostId)
    : PluginHostProxyHandler(host), hostId(hostId) {}

RemotePluginHostProxyHandler::~RemotePluginHostProxyHandler() = default;

void RemotePluginHostProxyHandler::openPipes() {
    mainPipe = NamedPipe::open(mainChannelName(hostId), true);
    replyStream = mainPipe->getOutput().get();
    asyncPipe = NamedPipe::open(asyncChannelName(hostId), false);
    asyncStream = asyncPipe->getOutput().get();
}

void RemotePluginHostProxyHandler::startAudioThreads(int32_t count) {
    for (int32_t index = 0; index < count; ++index) {
        audioThreads.emplace_back(new RemoteAudioThread(host.get(), hostId, index));
        audioThreads.back()->start();
    }
}

void RemotePluginHostProxyHandler::startRequestThread() {
    thread = std::make_unique<RemotePluginHostProxyHandlerThread>(this, host.get(), mainPipe->getInput());
    thread->start();
}

void RemotePluginHostProxyHandler::sendReply(PluginHostRequest& request, PluginHostReply& reply) {
    writeReply(channelOf(request), request, &reply);
}

void RemotePluginHostProxyHandler::sendEmptyReply(PluginHostRequest& request) {
    writeReply(channelOf(request), request, nullptr);
}

void RemotePluginHostProxyHandler::sendError(PluginHostRequest& request, const String& message) {
    writeFailure(channelOf(request), request, message);
}

void RemotePluginHostProxyHandler::sendNotification(PluginHostNotification& notification) {
    writeNotification(*asyncStream, notification);
}

void RemotePluginHostProxyHandler::shutdown() {
    host->stop();
    thread->shutDown();
    asyncStream->close();
    replyStream->close();
    for (const Ref<RemoteAudioThread>& audioThread : audioThreads)
        audioThread->shutDown();
    std::exit(0);
}

void RemotePluginHostProxyHandler::setUpAudio(PluginInstance& instance) {
    const Ref<RemotePluginAudioContext> context(
        new RemotePluginAudioContext(instance, hostId, host->blockSize));
    context->layOut();
    context->fillGuards();
    instance.setAudioContext(context);
    // A process listing shows the plug-in that was loaded last.
    prctl(PR_SET_NAME, instance.getName().toStdString().c_str(), 0, 0, 0);
}

OutputStream& RemotePluginHostProxyHandler::channelOf(const PluginHostRequest& request) const {
    return request.isAsync() ? *asyncStream : *replyStream;
}
