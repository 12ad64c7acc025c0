#include "library/HostWatch.h"

#include "library/ClientHost.h"

#include <algorithm>

namespace client_library {

HostWatch::HostWatch() : Thread("Plugin host watch") {}

HostWatch::~HostWatch() = default;

void HostWatch::add(const Ref<ClientHost>& host) {
    hosts.lock()->push_back(host);
    wake();
}

void HostWatch::remove(const ClientHost& host) {
    // Released without the lock.
    Hosts removed;
    const auto current = hosts.lock();
    std::erase_if(*current, [&](const Ref<ClientHost>& entry) {
        if (entry.get() != &host)
            return false;
        removed.push_back(entry);
        return true;
    });
    // The turn that has begun holds it, too.
    wake();
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
        const Hosts current = getHosts();
        waitForNews(current);
        woken.clear();
        for (const Ref<ClientHost>& host : current)
            host->attend();
    }
}

HostWatch::Hosts HostWatch::getHosts() const {
    return *hosts.lock();
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
