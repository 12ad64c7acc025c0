// How a session brings its plug-ins back.

#include "library/ClientSession.h"
#include "library/Handles.h"
#include "library/HostDeath.h"
#include "library/StateFile.h"

#include <csignal>

namespace client_library {
namespace {

/// Whether what ended a host is in the host: signals of another kind are someone's who killed it.
bool isOwnFault(const HostDeath& death) {
    switch (death.signal) {
    case 0:
    case SIGABRT:
    case SIGBUS:
    case SIGFPE:
    case SIGILL:
    case SIGSEGV:
    case SIGSYS:
    case SIGTRAP:
        return true;
    default:
        return death.isHung;
    }
}

} // namespace

Ref<KeptState> ClientSession::makeKeptState(const PluginSettings& pluginSettings) const {
    if (!revival)
        return nullptr;
    const std::vector<uint8_t> initial =
        pluginSettings.state ? pluginSettings.state->read() : std::vector<uint8_t>();
    return new KeptState(stateFolder, initial, [revival = revival] { revival->wake(); });
}

Revival& ClientSession::requireRevival() const {
    if (!revival)
        throw Failure(PLUGIN_HOST_INVALID_STATE, "The session restores no plug-ins");
    return *revival;
}

void ClientSession::noteBlame(const HostDeath& death) {
    const Ref<ClientPlugin>& blamed = death.block.plugin ? death.block.plugin : death.requestOf.plugin;
    if (blamed && blamed->kept && isOwnFault(death))
        blamed->kept->isAway = true;
}

void ClientSession::noteDeath() {
    if (revival)
        revival->wake();
}

void ClientSession::restorePlugin(ClientPlugin& plugin) {
    Revival& thread = requireRevival();
    const Ref<ClientHost> host = plugin.getOwnHost();
    if (!host || !host->isDead())
        throw Failure(PLUGIN_HOST_INVALID_STATE, "The plug-in's host isn't gone");
    plugin.kept->isAway = false;
    thread.wake();
}

std::vector<Ref<ClientPlugin>> ClientSession::getPlugins() const {
    std::vector<Ref<ClientPlugin>> all;
    const auto current = state.lock();
    for (const Entry& entry : current->plugins) {
        if (entry.isGiven && entry.plugin->getAudio() != nullptr)
            all.push_back(entry.plugin);
    }
    return all;
}

Ref<ClientPlugin> ClientSession::makeNext(ClientPlugin& former, Ref<ClientHost>& replacement) {
    PluginSettings next = former.settings;
    next.isAsynchronous = false;
    const std::vector<uint8_t> bytes = former.kept->getState();
    if (!bytes.empty()) {
        next.presetPath = String();
        next.state = std::make_shared<StateFile>(StateFile::suffixFor(next.path));
        next.state->write(bytes.data(), bytes.size());
    }
    if (next.hasChosenHost && (!replacement || replacement->isDead())) {
        HostSettings hostSettings = former.getOwnHost()->settings;
        const HostSettings current = getHostSettings();
        hostSettings.sampleRate = current.sampleRate;
        hostSettings.blockSize = current.blockSize;
        replacement = startHost(hostSettings);
    }
    Ref<ClientPlugin> plugin(new ClientPlugin(context, reports, next, former.kept, former.data));
    plugin->session = this;
    plugin->handle = former.handle;
    {
        const auto current = state.lock();
        if (current->hasEnded)
            throw Failure(PLUGIN_HOST_CANCELLED, "The session was destroyed");
        current->plugins.push_back({plugin, nullptr, nullptr, false});
    }
    try {
        plugin->create(finderFor(*plugin, next.hasChosenHost ? replacement : nullptr));
        plugin->requireCreation();
        former.prepareNext(*plugin);
    } catch (...) {
        plugin->end();
        forgetPlugin(*plugin);
        throw;
    }
    return plugin;
}

bool ClientSession::replacePlugin(ClientPlugin& former, ClientPlugin& next) {
    Entry removed;
    {
        const auto current = state.lock();
        const auto find = [&](const ClientPlugin& plugin) {
            return std::ranges::find(current->plugins, &plugin,
                                     [](const Entry& entry) { return entry.plugin.get(); });
        };
        const auto formerEntry = find(former);
        if (formerEntry != current->plugins.end() && former.handOver(next)) {
            find(next)->isGiven = true;
            removed = *formerEntry;
            current->plugins.erase(formerEntry);
        }
    }
    if (!removed.plugin) {
        // It was destroyed meanwhile.
        next.end();
        forgetPlugin(next);
        return false;
    }
    // No longer valid if it is being destroyed: that finds the next life by the former.
    replaceHandle(HandleKind::plugin, next.handle, next);
    endFormer(removed);
    return true;
}

void ClientSession::endFormer(const Entry& entry) {
    const Ref<ClientHost> host = entry.plugin->getOwnHost();
    host->removePlugin(*entry.plugin);
    if (entry.workerHost)
        entry.workerHost->returnWorker(entry.plugin->worker);
    if (entry.ownHost)
        endOwnHost(*entry.ownHost);
    else
        host->end(); // it has died, and its handle stays
}

void ClientSession::endHosts(int32_t sampleRate, int32_t blockSize) {
    std::vector<Ref<ClientHost>> hosts = state.lock()->hosts;
    {
        const auto current = hostSettings.lock();
        current->sampleRate = sampleRate;
        current->blockSize = blockSize;
    }
    for (const Ref<ClientHost>& host : hosts)
        host->end();
    for (auto& each : shared)
        each.lock()->hosts.clear();
}

} // namespace client_library
