#include "library/ClientSession.h"

#include "library/Failure.h"
#include "library/Handles.h"
#include "plugin/PluginFile.h"

#include <algorithm>
#include <csignal>
#include <utility>

namespace client_library {
namespace {

/// The creation of a plug-in that its caller doesn't wait for.
class CreationThread : public base::core::Thread {
public:
    CreationThread(const Ref<ClientPlugin>& plugin, const ClientPlugin::FindHost& find)
        : Thread("Plugin creation"), plugin(plugin), find(find) {}

    bool prepareForDeletion() override {
        join();
        return true;
    }

    bool hasFinished() const { return isFinished; }

protected:
    void run() override {
        plugin->create(find);
        isFinished = true;
    }

private:
    const Ref<ClientPlugin> plugin;
    const ClientPlugin::FindHost find;
    Relaxed<bool> isFinished = false;
};

// A write to a host that has just died must not end the application. A handler of its own stays.
void ignoreBrokenPipes() {
    struct sigaction action {};
    if (sigaction(SIGPIPE, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
        return;
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

Failure endedFailure() {
    return {PLUGIN_HOST_CANCELLED, "The session was destroyed"};
}

size_t indexOf(HostWidth width) {
    return width == HostWidth::bits32 ? 0 : 1;
}

} // namespace

ClientSession::ClientSession(const SessionSettings& settings)
    : settings(settings), context(new SessionContext(settings.callbacks, settings.keepsBrokenPipes)),
      reports(new PluginReports(settings.programs, settings.cacheDirectory, settings.reportTimeLimit,
                                {{"TANVEX_PLUGIN_HOST_EXTENSIONS", settings.host.extensions}})),
      hostSettings(settings.host),
      stateFolder(settings.stateDirectory.empty() ? nullptr : new StateFolder(settings.stateDirectory)),
      watch(new HostWatch) {
    if (!settings.keepsBrokenPipes)
        ignoreBrokenPipes();
    const base::core::ScopedLogReceiver log(new SessionLog(context));
    watch->start();
    if (settings.restores) {
        revival = new Revival(*this, settings.stateInterval);
        revival->start();
    }
    if (settings.dispatches)
        return;
    callbackThread = new CallbackThread(context->queue);
    callbackThread->start();
}

ClientSession::~ClientSession() {
    end();
}

void ClientSession::end() {
    State former;
    {
        const auto current = state.lock();
        if (current->hasEnded)
            return;
        current->hasEnded = true;
        std::swap(former.plugins, current->plugins);
        std::swap(former.destroyed, current->destroyed);
        std::swap(former.hosts, current->hosts);
        std::swap(former.scans, current->scans);
        std::swap(former.cycles, current->cycles);
        std::swap(former.creations, current->creations);
    }
    context->queue->close();
    reports->cancel();
    if (revival)
        revival->stop();
    for (const Ref<ClientScan>& scan : former.scans) {
        dropHandle(HandleKind::scan, scan->handle);
        scan->end();
    }
    for (const Ref<ClientCycle>& cycle : former.cycles) {
        dropHandle(HandleKind::cycle, cycle->handle);
        cycle->end();
    }
    for (const Entry& entry : former.plugins) {
        dropHandle(HandleKind::plugin, entry.plugin->handle);
        entry.plugin->abandon();
    }
    former.creations.clear(); // joined
    for (const Ref<ClientHost>& host : former.hosts) {
        dropHandle(HandleKind::host, host->handle);
        host->end();
    }
    if (revival)
        revival->join();
    for (auto& each : shared)
        each.lock()->hosts.clear();
    // Hosts end here and not on that thread: the process may exit next, and would leave pipes and blocks.
    watch->stop();
    for (const Ref<ClientPlugin>& plugin : former.destroyed)
        reportDestroyedAtEnd(plugin);
    for (const Entry& entry : former.plugins) {
        if (entry.isGiven)
            reportDestroyedAtEnd(entry.plugin);
    }
    callbackThread = nullptr;
}

void ClientSession::requireLife() const {
    if (state.lock()->hasEnded)
        throw Failure(PLUGIN_HOST_INVALID_HANDLE, "The session was destroyed");
}

Ref<ClientHost> ClientSession::startHost(const HostSettings& chosen) {
    return startHost(chosen, nullptr);
}

Ref<ClientHost> ClientSession::startHost(const HostSettings& chosen,
                                         const base::core::EventDescriptor* cancellation) {
    Ref<ClientHost> host(new ClientHost(context, watch, chosen));
    host->session = this;
    host->handle = static_cast<plugin_host_host*>(makeHandle(HandleKind::host, *host));
    try {
        host->start(cancellation);
        const auto current = state.lock();
        if (current->hasEnded)
            throw endedFailure();
        current->hosts.push_back(host);
    } catch (...) {
        // If it is up, the watch has it, too.
        host->end();
        dropHandle(HandleKind::host, host->handle);
        throw;
    }
    return host;
}

void ClientSession::removeHost(ClientHost& host) {
    // Released without the lock.
    const Ref<ClientHost> removed(&host);
    const auto current = state.lock();
    std::erase(current->hosts, removed);
}

HostWidth ClientSession::chooseWidth(const String& path) const {
    try {
        const PluginFile file = inspectPluginFile(path);
        if (const std::optional<HostWidth> width = file.chooseWidth())
            return *width;
        throw Failure(PLUGIN_HOST_NOT_FOUND, file.problem);
    } catch (const IOException& exception) {
        throw Failure(PLUGIN_HOST_NOT_FOUND, exception.getMessage());
    }
}

Ref<ClientHost> ClientSession::findHost(ClientPlugin& plugin,
                                        const base::core::EventDescriptor& cancellation) {
    const HostWidth width = chooseWidth(plugin.settings.path);
    if (!settings.hasSeparateHosts)
        return shareHost(plugin, width, cancellation);
    HostSettings own = getHostSettings();
    own.startTimeLimit = std::min(own.startTimeLimit, plugin.settings.timeLimit);
    own.program = String(reports->programs.get(width).c_str());
    Ref<ClientHost> host = startHost(own, &cancellation);
    {
        const auto current = state.lock();
        for (Entry& entry : current->plugins) {
            if (entry.plugin.get() != &plugin)
                continue;
            entry.ownHost = host;
            return host;
        }
    }
    // The plug-in was destroyed meanwhile.
    endOwnHost(*host);
    throw Failure(PLUGIN_HOST_CANCELLED, "The plug-in was destroyed");
}

Ref<ClientHost> ClientSession::shareHost(ClientPlugin& plugin, HostWidth width,
                                         const base::core::EventDescriptor& cancellation) {
    const auto common = shared[indexOf(width)].lock();
    std::erase_if(common->hosts, [](const Ref<ClientHost>& host) { return host->isDead(); });
    for (const Ref<ClientHost>& host : common->hosts) {
        if (fitsInto(*host, plugin))
            return host;
    }
    HostSettings next = getHostSettings();
    next.startTimeLimit = std::min(next.startTimeLimit, plugin.settings.timeLimit);
    next.program = String(reports->programs.get(width).c_str());
    common->hosts.push_back(startHost(next, &cancellation));
    fitsInto(*common->hosts.back(), plugin);
    return common->hosts.back();
}

bool ClientSession::fitsInto(ClientHost& host, ClientPlugin& plugin) {
    if (!settings.hasOwnWorkers)
        return true;
    const std::optional<int32_t> worker = host.takeWorker();
    if (!worker)
        return false;
    {
        const auto current = state.lock();
        for (Entry& entry : current->plugins) {
            if (entry.plugin.get() != &plugin)
                continue;
            entry.workerHost = &host;
            plugin.worker = *worker;
            return true;
        }
    }
    // The plug-in was destroyed meanwhile.
    host.returnWorker(*worker);
    return true;
}

Ref<ClientPlugin> ClientSession::createPlugin(const PluginSettings& pluginSettings,
                                              const Ref<ClientHost>& host, void* data) {
    Ref<ClientPlugin> plugin(
        new ClientPlugin(context, reports, pluginSettings, makeKeptState(pluginSettings), data));
    plugin->session = this;
    plugin->handle = static_cast<plugin_host_plugin*>(makeHandle(HandleKind::plugin, *plugin));
    const bool isKept = [&] {
        const auto current = state.lock();
        if (!current->hasEnded)
            current->plugins.push_back({plugin, nullptr, nullptr, pluginSettings.isAsynchronous});
        return !current->hasEnded;
    }();
    if (!isKept) {
        dropHandle(HandleKind::plugin, plugin->handle);
        throw endedFailure();
    }
    const ClientPlugin::FindHost find = finderFor(*plugin, host);
    if (pluginSettings.isAsynchronous) {
        createLater(*plugin, find);
        return plugin;
    }
    plugin->create(find);
    try {
        plugin->requireCreation();
        give(*plugin);
    } catch (...) {
        dropHandle(HandleKind::plugin, plugin->handle);
        forgetPlugin(*plugin);
        if (state.lock()->hasEnded)
            throw endedFailure();
        throw;
    }
    return plugin;
}

ClientPlugin::FindHost ClientSession::finderFor(ClientPlugin& plugin, const Ref<ClientHost>& host) {
    return [this, host, &plugin](const base::core::EventDescriptor& cancellation) {
        return host ? host : findHost(plugin, cancellation);
    };
}

void ClientSession::give(const ClientPlugin& plugin) {
    const auto current = state.lock();
    for (Entry& entry : current->plugins) {
        if (entry.plugin.get() == &plugin)
            entry.isGiven = true;
    }
    if (current->hasEnded)
        throw endedFailure();
}

void ClientSession::createLater(ClientPlugin& plugin, const ClientPlugin::FindHost& find) {
    joinFinishedCreations();
    const Ref<CreationThread> thread(new CreationThread(&plugin, find));
    const auto current = state.lock();
    if (current->hasEnded)
        return;
    thread->start();
    current->creations.emplace_back(thread.get());
}

void ClientSession::joinFinishedCreations() {
    // Joined without the lock.
    std::vector<Ref<base::core::Thread>> finished;
    const auto current = state.lock();
    std::erase_if(current->creations, [&](const Ref<base::core::Thread>& thread) {
        if (!static_cast<CreationThread&>(*thread).hasFinished())
            return false;
        finished.push_back(thread);
        return true;
    });
}

void ClientSession::destroyPlugin(ClientPlugin& plugin) {
    if (!plugin.end()) {
        // It may have come back meanwhile.
        if (const Ref<ClientPlugin> next = plugin.getNext())
            destroyPlugin(*next);
        return;
    }
    const Ref<ClientPlugin> destroyed(&plugin);
    {
        const auto current = state.lock();
        if (!current->hasEnded)
            current->destroyed.push_back(destroyed);
    }
    forgetPlugin(plugin);
    const Ref<ClientSession> self(this);
    context->post([self, destroyed](const plugin_host_callbacks&) {
        if (self->takeDestroyed(destroyed))
            self->reportDestroyed(destroyed);
    });
}

void ClientSession::forgetPlugin(ClientPlugin& plugin) {
    Entry removed;
    {
        const auto current = state.lock();
        std::erase_if(current->plugins, [&](const Entry& entry) {
            if (entry.plugin.get() != &plugin)
                return false;
            removed = entry;
            return true;
        });
    }
    if (removed.workerHost)
        removed.workerHost->returnWorker(plugin.worker);
    if (removed.ownHost)
        endOwnHost(*removed.ownHost);
}

void ClientSession::endOwnHost(ClientHost& host) {
    dropHandle(HandleKind::host, host.handle);
    host.end();
    removeHost(host);
}

bool ClientSession::takeDestroyed(const Ref<ClientPlugin>& plugin) {
    return std::erase(state.lock()->destroyed, plugin) > 0;
}

void ClientSession::reportDestroyed(const Ref<ClientPlugin>& plugin) const {
    if (context->callbacks.plugin_destroyed != nullptr)
        context->callbacks.plugin_destroyed(context->callbacks.user_data, plugin->handle, plugin->data);
}

void ClientSession::reportDestroyedAtEnd(const Ref<ClientPlugin>& plugin) const {
    context->queue->runLast([&] { reportDestroyed(plugin); }, callbackThread.get() != nullptr);
}

Ref<ClientScan> ClientSession::startScan(const plugin_host_scan_options& options) {
    Ref<ClientScan> scan(new ClientScan(context, reports, options));
    scan->session = this;
    scan->handle = static_cast<plugin_host_scan*>(makeHandle(HandleKind::scan, *scan));
    const bool isKept = [&] {
        const auto current = state.lock();
        if (!current->hasEnded)
            current->scans.push_back(scan);
        return !current->hasEnded;
    }();
    if (!isKept) {
        dropHandle(HandleKind::scan, scan->handle);
        throw endedFailure();
    }
    scan->start();
    return scan;
}

Ref<ClientCycle> ClientSession::makeCycle(size_t capacity) {
    Ref<ClientCycle> cycle(new ClientCycle(context, capacity));
    cycle->session = this;
    const auto current = state.lock();
    if (current->hasEnded)
        throw endedFailure();
    cycle->handle = static_cast<plugin_host_cycle*>(makeHandle(HandleKind::cycle, *cycle));
    current->cycles.push_back(cycle);
    return cycle;
}

void ClientSession::removeCycle(ClientCycle& cycle) {
    // Released without the lock.
    const Ref<ClientCycle> removed(&cycle);
    const auto current = state.lock();
    std::erase(current->cycles, removed);
}

void ClientSession::removeScan(ClientScan& scan) {
    // Released without the lock.
    const Ref<ClientScan> removed(&scan);
    const auto current = state.lock();
    std::erase(current->scans, removed);
}

} // namespace client_library
