#pragma once

#include "client/RemotePluginHostProxy.h"
#include "core/Guarded.h"
#include "library/HostOutput.h"
#include "library/RequestLog.h"
#include "library/SessionContext.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <poll.h>
#include <unordered_map>
#include <vector>

namespace client_library {

class ClientPlugin;
class HostWatch;
struct HostDeath;

/// Who drives a worker: one call, or one cycle, at a time.
class WorkerTurn : public NonCopyable, public NonMovable {
public:
    /// False if someone has it.
    bool take(const void* newOwner) {
        const void* none = nullptr;
        return owner.compare_exchange_strong(none, newOwner, std::memory_order_acquire,
                                             std::memory_order_relaxed);
    }
    void leave() { owner.store(nullptr, std::memory_order_release); }
    bool isOwnedBy(const void* someone) const { return owner.load(std::memory_order_relaxed) == someone; }

private:
    std::atomic<const void*> owner{nullptr};
};

/// One host of a session: its process, from its start to the report of its death. Owned by its handle, by the
/// session and by its plug-ins. Any thread.
class ClientHost : public Object {
public:
    /// Starts nothing yet. Throws `IOException`.
    ClientHost(const Ref<SessionContext>& context, const Ref<HostWatch>& watch, const HostSettings& settings);
    ~ClientHost() override;

    /// Blocks until the host is up. Throws `Failure`, also after a `signal` of `cancellation`, which may be
    /// null.
    void start(const base::core::EventDescriptor* cancellation);
    /// Asks the host to end, kills it if it doesn't, and waits for its end. No death is reported any more. A
    /// second call has no effect.
    void end();
    void kill();

    /// Whether the host is gone or was asked to end.
    bool isDead() const { return dead.load(std::memory_order_acquire); }
    /// Whether it has ended without being asked to, and its death was reported.
    bool hasDied() const { return isReported.load(std::memory_order_acquire); }
    /// Throws `Failure` if it is.
    void requireLife() const;

    using Call = std::function<void(RemotePluginHostProxy& proxy)>;
    /// Sends a request without a reply of its own. Throws `Failure` once the host is gone.
    void send(const char* name, int32_t instanceId, const Call& call);
    /// Sends a request with a reply, which `ended` is to be called for with the number given to `call`.
    /// `created` is the plug-in of a request that makes one.
    void sendWithReply(const char* name, int32_t instanceId,
                       const std::function<void(RemotePluginHostProxy&, RequestLog::Number)>& call,
                       const ClientPlugin* created = nullptr);
    void ended(RequestLog::Number number) { requests.end(number); }
    /// Waits until the host has done with all earlier requests, for `seconds` at most. Throws `Failure`.
    void ping(double seconds);

    /// The plug-ins that learn of the host's death.
    void addPlugin(ClientPlugin& plugin);
    void removePlugin(ClientPlugin& plugin);
    void setInstance(ClientPlugin& plugin, int32_t instanceId);

    /// A worker for one plug-in alone; nothing if all are taken.
    std::optional<int32_t> takeWorker();
    void returnWorker(int32_t worker);

    /// Null before `start` has succeeded.
    const Ref<RemotePluginHostProxy>& getProxy() const { return proxy; }
    WorkerTurn& getTurn(int32_t worker) { return turns[static_cast<size_t>(worker)]; }
    pid_t getPid() const { return pid; }
    /// By an audio thread that has lost the host. Real-time safe.
    void reportLoss();
    /// By an audio thread whose block is late: from then on the watch looks for workers that hang. Real-time
    /// safe.
    void noteLateness();

    const HostSettings settings;
    const Ref<SessionContext> context;
    // Set before anyone else has the host.
    plugin_host_host* handle = nullptr;
    Ref<Object> session;

    // For the watch.

    /// Appends what is to be polled.
    void addSources(std::vector<pollfd>& sources) const;
    /// In how many milliseconds `attend` is to be called even if nothing happens; -1: never.
    int getPatience() const;
    /// Takes what the host has sent, and notices its end.
    void attend();

private:
    class EndReceiver;
    struct Output {
        HostOutput standardOutput;
        HostOutput standardError;
    };

    void hostDied();
    void takeOutput(bool toTheEnd);
    void takeAnswers();
    void attendToDeath();
    void attendToLateness();
    void reportDeath();
    void failStart(plugin_host_status status, const std::string& reason);
    bool waitForEnd(int milliseconds) const;
    HostDeath describeDeath() const;
    std::vector<Ref<ClientPlugin>> getPlugins() const;
    Ref<ClientPlugin> findPlugin(int32_t instanceId, const ClientPlugin* created = nullptr) const;

    const Ref<HostWatch> watch;
    const Ref<EndReceiver> endReceiver;
    base::core::Guarded<Output> output;
    RequestLog requests;
    std::unique_ptr<WorkerTurn[]> turns;
    /// The order in which requests are logged is that of the pipe.
    base::core::Mutex sendLock;
    std::atomic<bool> dead{false};
    std::atomic<bool> isEnding{false};
    /// A worker may hang.
    std::atomic<bool> hasLateness{false};
    /// Until when the worker that has been at its block for longest may take, in milliseconds from the last
    /// look.
    std::atomic<int> hangPatience{0};
    std::atomic<bool> isHung{false};
    /// The death was reported, or there is none to report.
    std::atomic<bool> isSettled{false};
    std::atomic<bool> isReported{false};
    /// When the host was lost, in nanoseconds of `CLOCK_MONOTONIC`; 0 before.
    std::atomic<int64_t> lossTime{0};
    std::atomic<pid_t> pid{0};
    std::atomic<bool> isUp{false};
    std::unique_ptr<base::core::FileDescriptor> answers;
    base::core::Guarded<std::unordered_map<ClientPlugin*, int32_t>> plugins;
    /// By their numbers.
    base::core::Guarded<std::vector<bool>> takenWorkers;
    /// Ends before what it calls.
    Ref<RemotePluginHostProxy> proxy;
};

} // namespace client_library
