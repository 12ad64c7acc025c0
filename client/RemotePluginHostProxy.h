#pragma once

#include "client/HostOptions.h"
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
    static constexpr int32_t defaultSampleRate = HostOptions::defaultSampleRate;
    static constexpr int32_t defaultBlockSize = HostOptions::defaultBlockSize;

    /// A host by `options`, whose references and pointers are needed until this returns. Blocks until the
    /// host has opened its pipes. Throws `IOException`, a `StartException` for a host that doesn't come up.
    explicit RemotePluginHostProxy(const HostOptions& options);
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

    /// Sends a ping without waiting for its answer, which `readPingAnswers` counts. For an owner that has one
    /// thread read the answers, and that sends no other request whose reply isn't asynchronous.
    void sendPing();
    /// Blocks until the host has answered a ping and returns the number of answers, 0 once the host is gone.
    /// Throws `IOException`.
    size_t readPingAnswers();
    /// A descriptor of the caller's own that polls as readable when `readPingAnswers` doesn't block; -1, with
    /// `errno`, without one.
    int32_t duplicateAnswerDescriptor() const;
    /// Drops an instance's listener alone. Any thread.
    void dropListener(int32_t instanceId);
    /// Reports the death of the child, for an owner that watches the process: its pipes stay open as long as
    /// a process that it has started has them. Any thread.
    void noteEndOfChild();
    /// Drops all pending requests and all instances, for an owner that they refer to, once the host is gone.
    /// Any thread.
    void dropReceivers();
    /// The child, for its end and its status.
    const base::core::ChildProcess& getChild() const { return *childProcess; }

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

    void openPipes(const HostOptions& options, const std::vector<Ref<AudioThreadProxy>>& workers);
    template <class Call>
    void callManager(const Call& call);
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
    /// Removes a pending request and returns it; throws `IOException` for an unknown id.
    Ref<PluginHostRequest> takePendingRequest(int32_t requestId);
    void joinReplyThread();

    const MakingProcess makingProcess;
    const int32_t sampleRate;
    /// Null: that of the process.
    const Ref<RemotePluginHostProxyManager> manager;
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
