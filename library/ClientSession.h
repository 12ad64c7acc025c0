#pragma once

#include "core/Guarded.h"
#include "library/ClientCycle.h"
#include "library/ClientHost.h"
#include "library/ClientPlugin.h"
#include "library/ClientScan.h"
#include "library/HostWatch.h"
#include "library/PluginReports.h"
#include "library/Revival.h"
#include "library/SessionContext.h"
#include "plugin/PluginBundle.h"
#include <plugin-host/client.h>

#include <array>
#include <vector>

namespace client_library {

/// The options of a session, read and with their defaults.
struct SessionSettings {
    plugin_host_callbacks callbacks{};
    HostPrograms programs;
    /// For each host, without its program.
    HostSettings host;
    std::string cacheDirectory;
    double requestTimeLimit = 30;
    double reportTimeLimit = 10;
    bool hasSeparateHosts = false;
    /// Each plug-in that chooses no host has a worker for itself.
    bool hasOwnWorkers = false;
    bool restores = false;
    /// Between two states that are kept, in seconds; below 0: only on request.
    double stateInterval = 60;
    /// Empty: states are kept in memory.
    std::string stateDirectory;
    bool dispatches = false;
    bool keepsBrokenPipes = false;
};

/// A session: it owns hosts, plug-ins and scans. Any thread.
class ClientSession : public Object {
public:
    explicit ClientSession(const SessionSettings& settings);
    ~ClientSession() override;

    /// Ends all that it owns. A second call has no effect.
    void end();

    Ref<ClientHost> startHost(const HostSettings& chosen);
    /// Drops the session's reference.
    void removeHost(ClientHost& host);

    /// Makes a plug-in. `host` may be null. Throws `Failure`.
    Ref<ClientPlugin> createPlugin(const PluginSettings& settings, const Ref<ClientHost>& host, void* data);
    /// Ends a plug-in, and its host if that was its alone; the last callback follows.
    void destroyPlugin(ClientPlugin& plugin);
    Ref<ClientScan> startScan(const plugin_host_scan_options& options);
    void removeScan(ClientScan& scan);
    Ref<ClientCycle> makeCycle(size_t capacity);
    void removeCycle(ClientCycle& cycle);

    /// What hosts of the session are started with now.
    HostSettings getHostSettings() const { return *hostSettings.lock(); }

    // The lives of plug-ins, in a session that keeps their states.

    /// Throws `Failure` in a session that doesn't.
    Revival& requireRevival() const;
    /// By the watch, before the application learns of a host's end: who is to blame stays away.
    void noteBlame(const HostDeath& death);
    /// By the watch, afterwards: plug-ins can come back.
    void noteDeath();
    /// Has a plug-in brought back that stays away. Throws `Failure`.
    void restorePlugin(ClientPlugin& plugin);
    /// Those that the application has, and that have been made.
    std::vector<Ref<ClientPlugin>> getPlugins() const;
    /// Makes the next life of a plug-in, ready to take its place, and, for those that have a chosen host,
    /// their new one. Throws `Failure`.
    Ref<ClientPlugin> makeNext(ClientPlugin& former, Ref<ClientHost>& replacement);
    /// False if the plug-in was destroyed meanwhile: its next life ends, too.
    bool replacePlugin(ClientPlugin& former, ClientPlugin& next);
    /// Ends all hosts; those that are started from now on have these settings.
    void endHosts(int32_t sampleRate, int32_t blockSize);

    /// Throws `Failure` once the session has ended.
    void requireLife() const;

    const SessionSettings settings;
    const Ref<SessionContext> context;
    const Ref<PluginReports> reports;

private:
    struct Entry {
        Ref<ClientPlugin> plugin;
        /// The host that ends with it; null for none.
        Ref<ClientHost> ownHost;
        /// The host that it has a worker of for itself; null for none.
        Ref<ClientHost> workerHost;
        /// The application has its handle, and gets the last callback.
        bool isGiven = false;
    };

    struct State {
        std::vector<Ref<ClientHost>> hosts;
        std::vector<Entry> plugins;
        /// Those whose last callback waits.
        std::vector<Ref<ClientPlugin>> destroyed;
        std::vector<Ref<ClientScan>> scans;
        std::vector<Ref<ClientCycle>> cycles;
        std::vector<Ref<base::core::Thread>> creations;
        bool hasEnded = false;
    };

    /// The hosts that plug-ins of a width share: one, or as many as give each plug-in a worker.
    struct Shared {
        std::vector<Ref<ClientHost>> hosts;
    };

    Ref<KeptState> makeKeptState(const PluginSettings& pluginSettings) const;
    void endFormer(const Entry& entry);
    ClientPlugin::FindHost finderFor(ClientPlugin& plugin, const Ref<ClientHost>& host);
    Ref<ClientHost> findHost(ClientPlugin& plugin, const base::core::EventDescriptor& cancellation);
    Ref<ClientHost> shareHost(ClientPlugin& plugin, HostWidth width,
                              const base::core::EventDescriptor& cancellation);
    bool fitsInto(ClientHost& host, ClientPlugin& plugin);
    Ref<ClientHost> startHost(const HostSettings& chosen, const base::core::EventDescriptor* cancellation);
    HostWidth chooseWidth(const String& path) const;
    /// Throws `Failure` if the session has ended meanwhile.
    void give(const ClientPlugin& plugin);
    void createLater(ClientPlugin& plugin, const ClientPlugin::FindHost& find);
    void joinFinishedCreations();
    /// Drops the session's reference, and ends the host that was the plug-in's alone.
    void forgetPlugin(ClientPlugin& plugin);
    /// False if the end of the session has made the last callback of a plug-in.
    bool takeDestroyed(const Ref<ClientPlugin>& plugin);
    void reportDestroyed(const Ref<ClientPlugin>& plugin) const;
    /// For the end of the session: where all callbacks are made.
    void reportDestroyedAtEnd(const Ref<ClientPlugin>& plugin) const;
    /// Ends a host that was started for a plug-in alone.
    void endOwnHost(ClientHost& host);

    /// The settings for hosts, as they are now.
    base::core::Guarded<HostSettings> hostSettings;
    /// Null: states are in memory.
    const Ref<StateFolder> stateFolder;
    const Ref<HostWatch> watch;
    /// Null in a session that keeps no states.
    Ref<Revival> revival;
    /// Null if the application dispatches.
    Ref<CallbackThread> callbackThread;
    base::core::Guarded<State> state;
    /// 32 and 64 bits. Held while the host starts, so that others who need it wait for it.
    std::array<base::core::Guarded<Shared>, 2> shared;
};

} // namespace client_library
