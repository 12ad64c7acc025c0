#include "client/RemotePluginHostProxy.h"

#include "client/CallReceiver.h"
#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxyManager.h"
#include "client/ReplyWaiter.h"
#include "client/StartWatch.h"
#include "core/CloseQuietly.h"
#include "core/Log.h"
#include "plugin/Channels.h"
#include "plugin/Frames.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequests.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <utility>

using base::core::ChildProcess;
using base::core::closeQuietly;
using base::core::Guarded;
using base::core::NamedPipe;
using base::core::NamedServerPipe;

namespace {

constexpr double replyThreadPatience = 2.0; // seconds

// Never destroyed: a host may die while the process exits.
Guarded<Ref<RemotePluginHostProxyManager>>& currentManager() {
    static auto& current = *new Guarded<Ref<RemotePluginHostProxyManager>>;
    return current;
}

// A write to a dead host must fail instead of ending the client. A handler that the client installed stays.
void ignoreBrokenPipes() {
    struct sigaction action {};
    sigaction(SIGPIPE, nullptr, &action);
    if (action.sa_handler == SIG_DFL) {
        action.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &action, nullptr);
    }
}

} // namespace

RemotePluginHostProxy::RemotePluginHostProxy(const String& executablePath)
    : RemotePluginHostProxy(HostOptions(executablePath)) {}

RemotePluginHostProxy::RemotePluginHostProxy(const HostOptions& options)
    : RemoteWorkers(options.blockSize), sampleRate(options.sampleRate), manager(options.manager),
      childProcess(new ChildProcess) {
    // Held until the constructor returns: a death may be reported meanwhile, and a reference that the manager
    // makes and drops must not destroy this.
    retain(this);
    if (options.ignoresBrokenPipes)
        ignoreBrokenPipes();
    mainServerPipe = NamedServerPipe::create(mainChannelName(hostId), true);
    asyncServerPipe = NamedServerPipe::create(asyncChannelName(hostId), false);
    std::vector<Ref<AudioThreadProxy>> workers;
    for (int32_t index = 0; index < options.workerCount; ++index)
        workers.emplace_back(new AudioThreadProxy(hostId, index));
    launchHost(*childProcess, options, hostId);
    openPipes(options, workers);
    connected = true;
    endStart();
    undoRetain(this);
}

RemotePluginHostProxy::~RemotePluginHostProxy() {
    ending = true;
    joinReplyThread();
    childProcess = nullptr;
}

void RemotePluginHostProxy::setManager(const Ref<RemotePluginHostProxyManager>& newManager) {
    *currentManager().lock() = newManager;
}

void RemotePluginHostProxy::removePluginInstance(int32_t instanceId) {
    // Released without the locks, as that may destroy a receiver.
    std::vector<Ref<PluginHostRequest>> requests;
    {
        const auto pending = pendingRequests.lock();
        std::erase_if(*pending, [&](const auto& entry) {
            if (!entry.second->isForInstance(instanceId))
                return false;
            requests.push_back(entry.second);
            return true;
        });
    }
    dropListener(instanceId);
}

Ref<PluginHostReply>
RemotePluginHostProxy::sendRequest(const Ref<PluginHostRequest>& request,
                                   const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    if (isClosed())
        throw IOException(lostMessage);
    if (mainOutput == nullptr)
        // Oddity misspelt-texts: "requst".
        throw IOException("Attempting to send requst to plug-in host process with no output stream");
    request->requireSendableTexts();
    if (request->hasRequestId()) {
        const auto pending = pendingRequests.lock();
        request->requestId = nextRequestId++;
        request->replyHandler = replyHandler;
        pending->emplace(request->requestId, request);
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

template <class Call>
void RemotePluginHostProxy::callManager(const Call& call) {
    const Ref<RemotePluginHostProxyManager> receiver = manager ? manager : *currentManager().lock();
    if (receiver)
        callReceiver(managerName, [&] { call(*receiver); });
}

void RemotePluginHostProxy::sendPing() {
    if (isClosed())
        throw IOException(lostMessage);
    const Ref<PluginHostRequest> request(new PingRequest);
    try {
        writeRequest(*request);
    } catch (const IOException& exception) {
        connectionLost(exception.getMessage(), false);
        throw IOException(lostMessage);
    }
}

size_t RemotePluginHostProxy::readPingAnswers() {
    // Each answer is one byte: a ping succeeds, and its reply is empty.
    std::array<uint8_t, 256> answers;
    size_t total = 0;
    do {
        const size_t count = mainInput->read(answers.data(), answers.size());
        if (std::any_of(answers.data(), answers.data() + count, [](uint8_t answer) { return answer != 1; }))
            throw IOException("Unexpected answer to a ping");
        total += count;
    } while (mainInput->available() > 0); // already read from the pipe
    return total;
}

int32_t RemotePluginHostProxy::duplicateAnswerDescriptor() const {
    return mainServerPipe->getPipe()->duplicateInputDescriptor();
}

void RemotePluginHostProxy::dropListener(int32_t instanceId) {
    // Released without the lock, as that may destroy the listener.
    Ref<RemotePluginInstance> instance;
    const auto known = instances.lock();
    if (const auto entry = known->find(instanceId); entry != known->end()) {
        instance = entry->second;
        known->erase(entry);
    }
}

void RemotePluginHostProxy::noteEndOfChild() {
    connectionLost("The process has ended", false);
}

Ref<PluginAudioContext> RemotePluginHostProxy::createAudioContext(const CreatePluginInstanceReply& reply) {
    return new RemotePluginAudioContextProxy(this, reply);
}

bool RemotePluginHostProxy::abandon() {
    return !makingProcess.isCopied() && childProcess->kill(SIGKILL);
}

void RemotePluginHostProxy::shutdown() {
    if (makingProcess.isCopied())
        return;
    // Closed first, so that the host's end isn't reported as a death; `sendRequest` would throw from here on.
    int32_t open = 0;
    if (!closed.compare_exchange_strong(open, 1))
        return;
    const Ref<RemotePluginHostProxy> self = holdDuringCall();
    std::exception_ptr failure;
    try {
        const Ref<PluginHostRequest> request(new ShutdownRequest);
        writeRequest(*request);
    } catch (...) {
        // The host has just died, which is no longer reported: clean up as usual.
        failure = std::current_exception();
    }
    dropReceivers();
    closeMainOutput();
    closeQuietly(mainInput);
    joinReplyThread();
    callManager([&](RemotePluginHostProxyManager& receiver) { receiver.hostShutDown(*this); });
    ReplyWaiter::hostLost(*this);
    if (failure)
        std::rethrow_exception(failure);
}

bool RemotePluginHostProxy::prepareForDeletion() {
    if (makingProcess.isCopied()) {
        MakingProcess::leave(this);
        return false;
    }
    // Held, as receivers may make and drop references meanwhile.
    retain(this);
    if (replyThread->isCurrentThread()) {
        // A thread can't join itself.
        base::core::releaseOnNewThread(this);
        return false;
    }
    if (connected && !isClosed()) {
        try {
            shutdown();
        } catch (const Exception&) {
            // The child is killed in any case.
        }
    }
    joinReplyThread();
    // If a receiver kept a reference, its release calls this again.
    return undoRetain(this) == 0;
}

Ref<RemotePluginInstance> RemotePluginHostProxy::findInstance(int32_t instanceId) {
    const auto known = instances.lock();
    const auto entry = known->find(instanceId);
    return entry != known->end() ? entry->second : nullptr;
}

void RemotePluginHostProxy::addPluginInstance(int32_t instanceId,
                                              const Ref<PluginHostNotificationListener>& listener) {
    hostIdClaim.noteInstance(instanceId);
    const auto known = instances.lock();
    known->emplace(instanceId, new RemotePluginInstance(instanceId, listener));
}

void RemotePluginHostProxy::openPipes(const HostOptions& options,
                                      const std::vector<Ref<AudioThreadProxy>>& workers) {
    std::unique_ptr<StartWatch> watch;
    if (options.isWatched) {
        std::vector<Ref<NamedServerPipe>> pipes{mainServerPipe, asyncServerPipe};
        for (const Ref<AudioThreadProxy>& worker : workers)
            pipes.push_back(worker->getPipe());
        watch = std::make_unique<StartWatch>(*childProcess, options, pipes);
    }
    const auto check = [&] {
        if (watch)
            watch->check();
    };

    // The host opens its pipes in the same order, so the two can't deadlock.
    const Ref<NamedPipe> mainPipe = mainServerPipe->open();
    check();
    mainInput = mainPipe->getInput().get();
    mainOutput = mainPipe->getOutput().get();
    const Ref<NamedPipe> asyncPipe = asyncServerPipe->open();
    check();
    asyncInput = asyncPipe->getInput().get();
    replyThread = std::make_unique<RemotePluginHostProxyAsyncReplyThread>(this);
    replyThread->start();
    try {
        for (const Ref<AudioThreadProxy>& worker : workers) {
            worker->open();
            check();
            audioThreadProxies.push_back(worker);
        }
    } catch (...) {
        // `shutdown` never runs for a proxy that wasn't connected, so the reply thread ends here.
        ending = true;
        closed = 1;
        endStart();
        closeQuietly(asyncInput);
        replyThread->join();
        throw;
    }
}

void RemotePluginHostProxy::writeRequest(PluginHostRequest& request) {
    // If the reply thread loses the connection meanwhile, it leaves closing the stream to this.
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
    ::writeRequest(*mainOutput, request);
}

void RemotePluginHostProxy::closeMainOutput() {
    if (!writeLock.tryLock())
        return;
    closeQuietly(mainOutput);
    writeLock.unlock();
}

Ref<PluginHostReply> RemotePluginHostProxy::awaitReply(PluginHostRequest& request) {
    const RequestOutcome outcome = readOutcome(*mainInput, request);
    if (!outcome.hasSucceeded)
        throw PluginException(outcome.message);
    return outcome.reply;
}

void RemotePluginHostProxy::connectionLost(const String& message, bool onReplyThread) {
    int32_t open = 0;
    if (!closed.compare_exchange_strong(open, 1))
        return;
    base::core::logError("Plugin host died: ", message);
    closeMainOutput();
    closeQuietly(asyncInput);
    if (onReplyThread && !beginReport())
        return;
    {
        const Ref<RemotePluginHostProxy> self = holdDuringCall();
        callManager([&](RemotePluginHostProxyManager& receiver) {
            receiver.hostDied(*this, message, onReplyThread);
        });
        ReplyWaiter::hostLost(*this);
    }
    if (onReplyThread)
        endReport();
}

Ref<RemotePluginHostProxy> RemotePluginHostProxy::holdDuringCall() {
    // No reference on the reply thread: destruction waits for that thread anyway.
    return replyThread->isCurrentThread() ? nullptr : this;
}

bool RemotePluginHostProxy::beginReport() {
    {
        const auto progress = start.lock();
        if (!progress->hasEnded && !ending) {
            progress->isReporting = true;
            return true;
        }
    }
    // The constructor has returned and its caller is about to take the first reference. One that the manager
    // makes and drops before that would be the last.
    constexpr timespec moment{0, 100000};
    while (countReferences(this) == 0 && !ending)
        nanosleep(&moment, nullptr);
    return !ending;
}

void RemotePluginHostProxy::endReport() {
    const auto progress = start.lock();
    progress->isReporting = false;
    reportEnded.broadcast();
}

void RemotePluginHostProxy::endStart() {
    const auto progress = start.lock();
    while (progress->isReporting)
        progress.wait(reportEnded);
    progress->hasEnded = true;
}

void RemotePluginHostProxy::dropReceivers() {
    // Released without the locks, as that may destroy a receiver.
    Requests droppedRequests;
    Instances droppedInstances;
    droppedRequests.swap(*pendingRequests.lock());
    droppedInstances.swap(*instances.lock());
}

Ref<PluginHostRequest> RemotePluginHostProxy::takePendingRequest(int32_t requestId) {
    const auto pending = pendingRequests.lock();
    const auto entry = pending->find(requestId);
    if (entry == pending->end())
        throw IOException(concat("Invalid async request id ", requestId));
    Ref<PluginHostRequest> request = entry->second;
    pending->erase(entry);
    return request;
}

void RemotePluginHostProxy::joinReplyThread() {
    if (replyThread->isCurrentThread())
        return;
    // The host closes its end when it exits. If it doesn't in time, closing the pipe here wakes the thread.
    if (!replyThread->waitForEnd(replyThreadPatience))
        closeQuietly(asyncInput);
    replyThread->join();
}
