#include "client/RemotePluginHostProxy.h"

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxyManager.h"
#include "core/CloseQuietly.h"
#include "core/SharedMemory.h"
#include "core/StdStreams.h"
#include "plugin/Channels.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequests.h"

#include <csignal>
#include <cstring>
#include <unistd.h>

using base::core::ChildProcess;
using base::core::closeQuietly;
using base::core::NamedPipe;
using base::core::NamedServerPipe;
using base::core::ScopedLock;

namespace {

constexpr const char* libraryPathVariable = "TANVEX_PLUGIN_HOST_LIBRARY_PATH";
constexpr double replyThreadPatience = 2.0; // seconds

// Proxies are made on one thread.
int32_t nextHostId = 1;

// Never destroyed: a host may die while the process exits.
Ref<RemotePluginHostProxyManager>& manager() {
    static auto& reference = *new Ref<RemotePluginHostProxyManager>;
    return reference;
}

// A dead host is to show as a failed write. A handler that the client has installed stays.
void ignoreBrokenPipes() {
    struct sigaction action {};
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
        action.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &action, nullptr);
    }
}

} // namespace

std::map<std::string, std::string> hostEnvironment(const char* const* environment) {
    ChildProcess::Environment entries;
    for (; *environment != nullptr; ++environment) {
        const char* equals = std::strchr(*environment, '=');
        if (equals != nullptr)
            entries.emplace(std::string(*environment, equals), equals + 1);
        else
            entries.emplace(*environment, "");
    }
    if (const auto libraryPath = entries.find(libraryPathVariable); libraryPath != entries.end()) {
        entries["LD_LIBRARY_PATH"] = libraryPath->second;
        entries.erase(libraryPathVariable);
    }
    return entries;
}

RemotePluginHostProxy::RemotePluginHostProxy(const String& executablePath)
    : childProcess(new ChildProcess), hostId(nextHostId++) {
    ignoreBrokenPipes();
    mainServerPipe = NamedServerPipe::create(mainChannelName(hostId), true);
    asyncServerPipe = NamedServerPipe::create(asyncChannelName(hostId), false);
    const Ref<AudioThreadProxy> worker(new AudioThreadProxy(hostId, 0));
    launch(executablePath);

    // The host opens its pipes in the same order, so neither side waits for the other for ever.
    const Ref<NamedPipe> mainPipe = mainServerPipe->open();
    mainInput = mainPipe->getInput().get();
    mainOutput = mainPipe->getOutput().get();
    asyncInput = asyncServerPipe->open()->getInput().get();
    replyThread = std::make_unique<RemotePluginHostProxyAsyncReplyThread>(this);
    replyThread->start();
    try {
        worker->open();
    } catch (const IOException&) {
        // Nobody will shut down what was never connected: the reply thread is ended here.
        closed = 1;
        closeQuietly(asyncInput);
        throw;
    }
    audioThreadProxies.push_back(worker);
    connected = true;
}

RemotePluginHostProxy::~RemotePluginHostProxy() {
    joinReplyThread();
    childProcess = nullptr;
    removeAudioBlocks();
}

void RemotePluginHostProxy::setManager(const Ref<RemotePluginHostProxyManager>& newManager) {
    manager() = newManager;
}

void RemotePluginHostProxy::removePluginInstance(int32_t instanceId) {
    {
        const ScopedLock lock(pendingLock);
        std::erase_if(pendingRequests,
                      [&](const auto& entry) { return entry.second->isForInstance(instanceId); });
    }
    const ScopedLock lock(instancesLock);
    instances.erase(instanceId);
}

Ref<PluginHostReply>
RemotePluginHostProxy::sendRequest(const Ref<PluginHostRequest>& request,
                                   const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    if (isClosed())
        throw IOException(lostMessage);
    if (mainOutput == nullptr)
        throw IOException("Attempting to send requst to plug-in host process with no output stream");
    if (request->hasRequestId()) {
        const ScopedLock lock(pendingLock);
        request->requestId = nextRequestId++;
        request->replyHandler = replyHandler;
        pendingRequests.emplace(request->requestId, request);
    }
    try {
        writeRequest(*request);
        if (!request->needsReply() || request->isAsync())
            return nullptr;
        return awaitReply(*request);
    } catch (const IOException& exception) {
        connectionLost(exception.getMessage(), false);
        throw IOException(lostMessage);
    }
}

Ref<PluginAudioContext> RemotePluginHostProxy::createAudioContext(const CreatePluginInstanceReply& reply) {
    return new RemotePluginAudioContextProxy(this, reply);
}

bool RemotePluginHostProxy::abandon() {
    const pid_t pid = getChildPid();
    return pid > 0 && kill(pid, SIGKILL) == 0;
}

void RemotePluginHostProxy::shutdown() {
    // Closed first, so that the end of the host is nobody's death, and then asked past the test of `closed`.
    int32_t open = 0;
    if (!closed.compare_exchange_strong(open, 1))
        return;
    const Ref<PluginHostRequest> request(new ShutdownRequest);
    writeRequest(*request);
    {
        const ScopedLock lock(pendingLock);
        pendingRequests.clear();
    }
    {
        const ScopedLock lock(instancesLock);
        instances.clear();
    }
    closeMainOutput();
    closeQuietly(mainInput);
    joinReplyThread();
    if (manager())
        manager()->hostShutDown(*this);
}

bool RemotePluginHostProxy::prepareForDeletion() {
    if (connected && !isClosed()) {
        try {
            shutdown();
        } catch (const Exception&) {
            // The child is killed in any case.
        }
    }
    return true;
}

Ref<RemotePluginInstance> RemotePluginHostProxy::findInstance(int32_t instanceId) {
    const ScopedLock lock(instancesLock);
    const auto entry = instances.find(instanceId);
    return entry != instances.end() ? entry->second : nullptr;
}

void RemotePluginHostProxy::addPluginInstance(int32_t instanceId,
                                              const Ref<PluginHostNotificationListener>& listener) {
    lastInstanceId = instanceId;
    const ScopedLock lock(instancesLock);
    instances.emplace(instanceId, new RemotePluginInstance(instanceId, listener));
}

void RemotePluginHostProxy::launch(const String& executablePath) {
    const std::vector<String> arguments{executablePath,
                                        "host",
                                        String::fromInteger(sampleRate),
                                        String::fromInteger(blockSize),
                                        String::fromInteger(hostId),
                                        String::fromInteger(workerCount)};
    if (std::getenv(libraryPathVariable) == nullptr)
        childProcess->launch(arguments);
    else
        childProcess->launch(arguments, hostEnvironment(environ));
}

void RemotePluginHostProxy::writeRequest(PluginHostRequest& request) {
    // The thread that reads replies may lose the connection meanwhile, and leaves the stream alone then.
    class Turn : public NonCopyable, public NonMovable {
    public:
        explicit Turn(RemotePluginHostProxy& proxy) : proxy(proxy) { proxy.writeLock.lock(); }
        ~Turn() {
            proxy.writeLock.unlock();
            if (proxy.isClosed())
                proxy.closeMainOutput();
        }

    private:
        RemotePluginHostProxy& proxy;
    };

    const Turn turn(*this);
    mainOutput->writeByte(static_cast<uint8_t>(request.getType()));
    if (request.hasRequestId())
        mainOutput->writeNativeInt32(request.requestId);
    request.write(*mainOutput);
    mainOutput->flush();
}

void RemotePluginHostProxy::closeMainOutput() {
    if (!writeLock.tryLock())
        return;
    closeQuietly(mainOutput);
    writeLock.unlock();
}

Ref<PluginHostReply> RemotePluginHostProxy::awaitReply(PluginHostRequest& request) {
    if (mainInput->readBool())
        return request.readReply(*mainInput);
    throw PluginException(mainInput->readString());
}

void RemotePluginHostProxy::connectionLost(const String& message, bool onReplyThread) {
    int32_t open = 0;
    if (!closed.compare_exchange_strong(open, 1))
        return;
    base::core::standardError().printLine(concat("Plugin host died: ", message));
    closeMainOutput();
    closeQuietly(asyncInput);
    if (manager())
        manager()->hostDied(*this, message, onReplyThread);
}

Ref<PluginHostRequest> RemotePluginHostProxy::takePendingRequest(int32_t requestId) {
    const ScopedLock lock(pendingLock);
    const auto entry = pendingRequests.find(requestId);
    if (entry == pendingRequests.end())
        throw IOException(concat("Invalid async request id ", requestId));
    Ref<PluginHostRequest> request = entry->second;
    pendingRequests.erase(entry);
    return request;
}

void RemotePluginHostProxy::joinReplyThread() {
    if (replyThread == nullptr || replyThread->isCurrentThread())
        return;
    // The host closes its end when it goes. One that doesn't go is not waited for: the closed pipe wakes the
    // thread.
    if (!replyThread->waitForEnd(replyThreadPatience))
        closeQuietly(asyncInput);
    replyThread->join();
}

void RemotePluginHostProxy::removeAudioBlocks() const {
    for (int32_t instanceId = 1; instanceId <= lastInstanceId; ++instanceId)
        base::core::SharedMemory::remove(audioBlockName(hostId, instanceId));
}
