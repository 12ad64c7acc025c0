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

/// Starts `plugin-host host` as a child process, connects its pipes, and turns calls into request frames. The
/// death of the child shows as a lost pipe to the thread that uses one first; it is reported to the manager
/// once, and every later call throws. A proxy doesn't reconnect: make a new one.
///
/// Make all proxies on one thread, which outlives them: the kernel ends a child with the thread that started
/// it. Releasing the last reference, on any thread, shuts down or kills the host and leaves no process, FIFO,
/// audio block, thread or descriptor behind. If a receiver on the reply thread releases it, that happens
/// asynchronously on another thread.
class RemotePluginHostProxy : public RemoteWorkers {
public:
    /// What the host is started with.
    static constexpr int32_t defaultSampleRate = 44100;
    static constexpr int32_t defaultBlockSize = 256;
    static constexpr int32_t defaultWorkerCount = 1;

    /// Starts the program and blocks, without a time limit, until it has opened its pipes. Sets `SIGPIPE` to
    /// ignored for this process if it has its default action. Throws `IOException`; no death is reported to
    /// the manager from then on.
    explicit RemotePluginHostProxy(const String& executablePath);
    ~RemotePluginHostProxy() override;

    /// The one manager of the process, which may be null; set before the first proxy is made.
    static void setManager(const Ref<RemotePluginHostProxyManager>& newManager);

    void removePluginInstance(int32_t instanceId) override;
    Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>& request,
                                     const Ref<PluginHostAsyncReplyHandler>& replyHandler) override;
    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) override;
    /// Kills the child, which is then reported as a death. False without a child.
    bool abandon() override;
    /// Asks the host to end, drops all pending requests and all instances, and closes the pipes. Reports the
    /// shutdown to the manager, and no death afterwards. No effect on a closed connection. Throws
    /// `IOException` if the host died meanwhile, after the same clean-up.
    void shutdown() override;

    /// Shuts down a connection that is still open; exceptions are ignored.
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
    /// If a request is being written, its writer closes the stream afterwards instead.
    void closeMainOutput();
    Ref<PluginHostReply> awaitReply(PluginHostRequest& request);
    /// The first thread that notices the death reports it; later calls have no effect.
    void connectionLost(const String& message, bool onReplyThread);
    /// Keeps this alive during a call of the manager, which may release the last other reference.
    Ref<RemotePluginHostProxy> holdDuringCall();
    /// Before the reply thread calls the manager: waits for the owner's first reference, unless the
    /// constructor is still running. False if this object is being destroyed or its constructor failed.
    bool beginReport();
    void endReport();
    /// Before the constructor returns: waits for a report in progress.
    void endStart();
    void dropReceivers();
    /// Removes a pending request and returns it; throws `IOException` for an unknown id.
    Ref<PluginHostRequest> takePendingRequest(int32_t requestId);
    void joinReplyThread();

    const MakingProcess makingProcess;
    int32_t sampleRate = defaultSampleRate;
    int32_t workerCount = defaultWorkerCount;
    Ref<base::core::ChildProcess> childProcess;
    /// 0 while the connection is open.
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
    /// The proxy is being destroyed, or its constructor failed: a death is no longer reported.
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

/// The environment of a child host: `environment`, with "TANVEX_PLUGIN_HOST_LIBRARY_PATH" renamed to
/// "LD_LIBRARY_PATH" if it is set. `environment` is a null-terminated list of "NAME=value"; an entry without
/// "=" is a name with an empty value.
std::map<std::string, std::string> hostEnvironment(const char* const* environment);
