#include "library/HostWatch.h"

#include "library/ClientHost.h"

#include <algorithm>

namespace client_library {

HostWatch::HostWatch() : Thread("Plugin host watch") {}

HostWatch::~HostWatch() = default;

void HostWatch::add(const Ref<ClientHost>& host) {
    state.lock()->hosts.push_back(host);
    wake();
}

void HostWatch::remove(const ClientHost& host) {
    // Released without the lock.
    Hosts removed;
    const auto current = state.lock();
    std::erase_if(current->hosts, [&](const Ref<ClientHost>& entry) {
        if (entry.get() != &host)
            return false;
        removed.push_back(entry);
        return true;
    });
    if (isCurrentThread())
        return;
    // It may be asleep, with a reference.
    wake();
    const uint64_t next = current->turns + 1;
    while (current->turns < next && !current->hasEnded)
        current.wait(turned);
}

void HostWatch::stop() {
    stopRequested = true;
    wake();
    join();
}

bool HostWatch::prepareForDeletion() {
    stopRequested = true;
    wake();
    if (isCurrentThread()) {
        // With the last of its hosts. A thread can't join itself.
        base::core::retain(this);
        base::core::releaseOnNewThread(this);
        return false;
    }
    join();
    return true;
}

void HostWatch::run() {
    while (!stopRequested) {
        takeTurn();
        endTurn(false);
    }
    endTurn(true);
}

void HostWatch::takeTurn() {
    const Hosts current = state.lock()->hosts;
    waitForNews(current);
    woken.clear();
    for (const Ref<ClientHost>& host : current)
        host->attend();
}

void HostWatch::endTurn(bool isLast) {
    const auto current = state.lock();
    ++current->turns;
    current->hasEnded = isLast;
    turned.broadcast();
}

void HostWatch::waitForNews(const Hosts& current) {
    sources.clear();
    sources.push_back({woken.get(), POLLIN, 0});
    int patience = -1;
    for (const Ref<ClientHost>& host : current) {
        host->addSources(sources);
        if (const int own = host->getPatience(); own >= 0)
            patience = patience < 0 ? own : std::min(patience, own);
    }
    poll(sources.data(), sources.size(), patience);
}

} // namespace client_library
