#pragma once

#include "client/MakingProcess.h"
#include "client/RemotePluginHostProxyAsyncReplyThread.h"
#include "client/RemotePluginInstance.h"
#include "client/RemoteWorkers.h"
#include "core/ChildProcess.h"
#include "core/Guarded.h"
#include "core/NamedPipe.h"
#include "plugin/PluginHostRequest.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class RemotePluginHostProxyManager;

/// Starts `plugin-host host` as a child process, connects its pipes, and turns calls into request frames. A
/// child that dies shows as the loss of a pipe, wherever that is met first; a manager is told once, and from
/// then on every call throws. A proxy doesn't reconnect: make a new one.
///
/// Made on a thread that outlives it, since the kernel ends the child with that thread, and with one thread
/// making proxies. Dropping the last reference, on any thread, shuts the host down, or kills it, and leaves
/// no process, FIFO, audio block, thread or descriptor behind. Where the thread that reads replies drops it,
/// in a receiver, that happens on another thread, a moment later.
class RemotePluginHostProxy : public RemoteWorkers {
public:
    /// What the host is started with.
    static constexpr int32_t defaultSampleRate = 44100;
    static constexpr int32_t defaultBlockSize = 256;
    static constexpr int32_t defaultWorkerCount = 1;

    /// Starts the program and blocks until it has opened its pipes: for ever, if it never does. Ignores
    /// `SIGPIPE` for this process where it still has its default. Throws `IOException`; the manager hears of
    /// no death then that it hasn't heard of before.
    explicit RemotePluginHostProxy(const String& executablePath);
    ~RemotePluginHostProxy() override;

    /// The one manager of the process, which may be null; set before the first proxy is made.
    static void setManager(const Ref<RemotePluginHostProxyManager>& newManager);

    void removePluginInstance(int32_t instanceId) override;
    Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>& request,
                                     const Ref<PluginHostAsyncReplyHandler>& replyHandler) override;
    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) override;
    /// Kills the child, which shows as its death. False if there is none.
    bool abandon() override;
    /// Asks the host to end, drops all that is pending and closes the pipes. Nobody is told of a death after
    /// this, but the manager of the shutdown. Harmless when the connection is closed. Throws `IOException` if
    /// the host has gone by itself meanwhile, and has done all the same then.
    void shutdown() override;

    /// Shuts down a connection that still stands; nothing escapes.
    bool prepareForDeletion() override;

    /// The client's side of an instance, or null. Any thread.
    Ref<RemotePluginInstance> findInstance(int32_t instanceId);
    bool isClosed() const override { return closed.load() != 0 || makingProcess.isCopied(); }
    int32_t getSampleRate() const { return sampleRate; }
    pid_t getChildPid() const { return childProcess->getPid(); }

protected:
    void addPluginInstance(int32_t instanceId, const Ref<PluginHostNotificationListener>& listener) override;

private:
    friend class RemotePluginHostProxyAsyncReplyThread;

    using Requests = std::unordered_map<int32_t, Ref<PluginHostRequest>>;
    using Instances = std::unordered_map<int32_t, Ref<RemotePluginInstance>>;

    struct Start {
        /// The constructor is done.
        bool hasEnded = false;
        /// The manager is being called.
        bool isReporting = false;
    };

    void launch(const String& executablePath);
    void writeRequest(PluginHostRequest& request);
    /// Unless a request is being written: its writer then closes the stream when it is done.
    void closeMainOutput();
    Ref<PluginHostReply> awaitReply(PluginHostRequest& request);
    /// The first thread that sees the death tells of it, and only that one.
    void connectionLost(const String& message, bool onReplyThread);
    /// Keeps this alive while the manager is called, which may drop the last reference of others.
    Ref<RemotePluginHostProxy> holdDuringCall();
    /// The reply thread is about to call the manager: waits for the owner's first reference, but for no
    /// constructor that is still at work. False if this object is going, or never came up.
    bool beginReport();
    void endReport();
    /// The constructor is about to return: waits for a report that is under way.
    void endStart();
    void dropReceivers();
    /// Removes a pending request and returns it; throws `IOException` for an unknown id.
    Ref<PluginHostRequest> takePendingRequest(int32_t requestId);
    void joinReplyThread();
    /// Takes away the audio blocks of a host that is gone: one that dies, or is shut down with instances,
    /// leaves them.
    void removeAudioBlocks() const;

    const MakingProcess makingProcess;
    int32_t sampleRate = defaultSampleRate;
    int32_t workerCount = defaultWorkerCount;
    Ref<base::core::ChildProcess> childProcess;
    /// 0 while the connection stands.
    std::atomic<int32_t> closed{0};
    /// The constructor has finished.
    bool connected = false;
    Ref<base::core::NamedServerPipe> mainServerPipe;
    Ref<base::core::NamedServerPipe> asyncServerPipe;
    /// Borrowed from the pipes.
    InputStream* mainInput = nullptr;
    InputStream* asyncInput = nullptr;
    OutputStream* mainOutput = nullptr;
    int32_t nextRequestId = 1;
    /// The highest id of an instance so far.
    int32_t lastInstanceId = 0;
    /// Nobody is left to whom a death could be reported.
    std::atomic<bool> ending = false;
    base::core::Condition reportEnded;
    base::core::Guarded<Start> start;
    std::unique_ptr<RemotePluginHostProxyAsyncReplyThread> replyThread;
    /// By their ids.
    base::core::Guarded<Requests> pendingRequests;
    base::core::Guarded<Instances> instances;
    /// For writing to `mainOutput` and closing it.
    base::core::Mutex writeLock;
};

/// The environment of a child host: that of this process, in which, where the library path of plug-ins is
/// set, "LD_LIBRARY_PATH" has its value and the variable itself is gone. `environment` is a null-terminated
/// list of "NAME=value"; an entry without "=" is a name with an empty value.
std::map<std::string, std::string> hostEnvironment(const char* const* environment);
