#include "library/Revival.h"

#include "library/ClientSession.h"
#include "library/Failure.h"
#include "library/StateFile.h"

#include <algorithm>
#include <optional>

namespace client_library {
namespace {

/// Collects failures of things that are all to be tried.
class FirstFailure {
public:
    template <class Action>
    void attempt(const Action& action) {
        try {
            action();
        } catch (...) {
            if (!first)
                first.emplace(currentFailure());
        }
    }
    void rethrow() const {
        if (first)
            throw Failure(*first);
    }

private:
    std::optional<Failure> first;
};

std::vector<std::vector<Ref<ClientPlugin>>> byHost(const std::vector<Ref<ClientPlugin>>& plugins) {
    std::vector<std::vector<Ref<ClientPlugin>>> groups;
    for (const Ref<ClientPlugin>& plugin : plugins) {
        const auto group = std::ranges::find_if(groups, [&](const auto& each) {
            return each.front()->getOwnHost().get() == plugin->getOwnHost().get();
        });
        if (group != groups.end())
            group->push_back(plugin);
        else
            groups.push_back({plugin});
    }
    return groups;
}

void requireNext(const ClientPlugin& plugin) {
    if (!plugin.getNext() && plugin.kept->isAway)
        throw Failure(PLUGIN_HOST_DEAD, "A plug-in didn't come back");
}

} // namespace

Revival::Revival(ClientSession& session, double interval)
    : Thread("Plugin revival"), session(session), interval(interval),
      nextKeeping(base::core::monotonicDeadline(interval)) {}

Revival::~Revival() = default;

void Revival::wake() {
    state.lock()->isWoken = true;
    changed.signal();
}

void Revival::stop() {
    state.lock()->isStopping = true;
    changed.signal();
}

void Revival::run() {
    while (waitForWork()) {
        const base::core::ScopedLogReceiver log(new SessionLog(session.context));
        const base::core::ScopedLock turn(working);
        reviveDead();
        keepDueStates();
    }
}

bool Revival::waitForWork() {
    const auto current = state.lock();
    bool isDue = false;
    while (!current->isWoken && !current->isStopping && !isDue) {
        if (interval > 0)
            isDue = !current.waitUntil(changed, nextKeeping);
        else
            current.wait(changed);
    }
    current->isWoken = false;
    return !current->isStopping;
}

void Revival::keepDueStates() {
    if (interval < 0)
        return;
    const bool areAllDue = secondsSince(nextKeeping) >= 0;
    if (areAllDue)
        nextKeeping = base::core::monotonicDeadline(interval);
    for (const Ref<ClientPlugin>& plugin : session.getPlugins()) {
        if (state.lock()->isStopping)
            return;
        if (plugin->kept->takeOutdated() || areAllDue) {
            FirstFailure ignored; // the former state stays
            ignored.attempt([&] { plugin->keepState(); });
        }
    }
}

void Revival::keepStates() {
    FirstFailure failure;
    for (const Ref<ClientPlugin>& plugin : session.getPlugins())
        failure.attempt([&] { plugin->keepState(); });
    failure.rethrow();
}

void Revival::reviveDead() {
    Plugins formers;
    for (const Ref<ClientPlugin>& plugin : session.getPlugins()) {
        if (plugin->getOwnHost()->hasDied() && !plugin->kept->isAway)
            formers.push_back(plugin);
    }
    for (const Plugins& group : byHost(formers))
        revive(group);
}

void Revival::revive(const Plugins& formers) {
    Ref<ClientHost> replacement;
    std::vector<std::pair<Ref<ClientPlugin>, Ref<ClientPlugin>>> lives;
    for (const Ref<ClientPlugin>& former : formers) {
        if (state.lock()->isStopping)
            break;
        try {
            lives.emplace_back(former, session.makeNext(*former, replacement));
        } catch (...) {
            giveUp(*former, currentFailure());
        }
    }
    // Only now, since until then no thread plays on their workers.
    for (const auto& [former, next] : lives) {
        former->kept->failures = 0;
        if (session.replacePlugin(*former, *next))
            report(*next, PLUGIN_HOST_OK, {});
    }
}

// A host may be ended from elsewhere while it begins; one that always ends isn't started for ever.
void Revival::giveUp(ClientPlugin& plugin, const Failure& failure) {
    constexpr int mostFailures = 3;
    if (failure.status == PLUGIN_HOST_DEAD && ++plugin.kept->failures < mostFailures) {
        wake();
        return;
    }
    plugin.kept->failures = 0;
    plugin.kept->isAway = true;
    report(plugin, failure.status, failure.text);
}

void Revival::changeFormat(int32_t sampleRate, int32_t blockSize) {
    const base::core::ScopedLock turn(working);
    FirstFailure failure;
    Plugins formers;
    for (const Ref<ClientPlugin>& plugin : session.getPlugins()) {
        if (plugin->kept->isAway)
            continue;
        if (!plugin->getOwnHost()->isDead())
            failure.attempt([&] { plugin->keepState(); });
        formers.push_back(plugin);
    }
    session.endHosts(sampleRate, blockSize);
    for (const Plugins& group : byHost(formers)) {
        revive(group);
        for (const Ref<ClientPlugin>& plugin : group)
            failure.attempt([&] { requireNext(*plugin); });
    }
    failure.rethrow();
}

void Revival::report(ClientPlugin& plugin, plugin_host_status status, const std::string& error) {
    plugin.post([status, error](const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
        if (callbacks.plugin_restored != nullptr)
            callbacks.plugin_restored(callbacks.user_data, handle, status, error.c_str());
    });
}

} // namespace client_library
