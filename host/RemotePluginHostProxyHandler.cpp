#include "host/RemotePluginHostProxyHandler.h"

#include "host/RemotePluginAudioContext.h"
#include "plugin/Channels.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotification.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequest.h"

#include <cstdlib>
#include <sys/prctl.h>

using base::core::NamedPipe;

namespace {

// The first word of a notification, where a reply has its requestId.
constexpr int32_t notificationMark = 0;

} // namespace

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
    OutputStream& stream = beginReply(request);
    stream.writeByte(true);
    reply.write(stream);
    stream.flush();
}

void RemotePluginHostProxyHandler::sendEmptyReply(PluginHostRequest& request) {
    OutputStream& stream = beginReply(request);
    stream.writeByte(true);
    stream.flush();
}

void RemotePluginHostProxyHandler::sendError(PluginHostRequest& request, const String& message) {
    OutputStream& stream = beginReply(request);
    stream.writeByte(false);
    stream.writeString(message);
    stream.flush();
}

void RemotePluginHostProxyHandler::sendNotification(PluginHostNotification& notification) {
    asyncStream->writeNativeInt32(notificationMark);
    notification.write(*asyncStream);
    asyncStream->flush();
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

OutputStream& RemotePluginHostProxyHandler::beginReply(const PluginHostRequest& request) {
    if (!request.isAsync())
        return *replyStream;
    asyncStream->writeNativeInt32(request.requestId);
    return *asyncStream;
}
