#include "host/PluginHost.h"

#include "host/PluginHostRunThread.h"
#include "plugin/PluginApi.h"
#include "plugin/PluginException.h"
#include "vst2/Vst2PluginApi.h"
#include "vst3/Vst3PluginApi.h"
#include "window/XDisplayThread.h"

#include <algorithm>
#include <atomic>
#include <sys/time.h>

namespace {

constexpr double idleInterval = 0.04; // seconds

std::atomic<PluginHost*> currentHost{nullptr};

uint64_t wallClockMilliseconds() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}

} // namespace

PluginHost::PluginHost(int32_t sampleRate, int32_t blockSize)
    : sampleRate(sampleRate), blockSize(std::max(blockSize, 0)), mainThread(pthread_self()) {
    currentHost.store(this, std::memory_order_release);
}

PluginHost::~PluginHost() {
    closeWindows();
    // Still there after a main loop that threw.
    if (displayThread)
        joinDisplayThread();
    dropInstances();
    PluginHost* self = this;
    currentHost.compare_exchange_strong(self, nullptr);
}

PluginHost* PluginHost::getCurrent() {
    return currentHost.load(std::memory_order_acquire);
}

void PluginHost::startRunThread() {
    runThread = new PluginHostRunThread(this);
    runThread->start();
}

bool PluginHost::isMainThread() const {
    return pthread_equal(pthread_self(), mainThread) != 0;
}

bool PluginHost::prepareForDeletion() {
    if (runThread) {
        runThread->join();
        runThread = nullptr;
    }
    return true;
}

void PluginHost::run() {
    displayThread = std::make_unique<XDisplayThread>(this);
    displayThread->start();
    while (!stopRequested) {
        // Unsigned: a clock that was set back gives a huge interval, and so an idle round at once.
        const double sinceIdle = static_cast<double>(wallClockMilliseconds() - lastIdleTime) * 0.001;
        const Ref<PluginHostAction> action = takeAction();
        if (action) {
            action->run();
            // Taken before the action ran: at least one action runs between two idle rounds.
            if (sinceIdle < idleInterval)
                continue;
        } else if (sinceIdle < idleInterval && waitForAction(idleInterval - sinceIdle)) {
            continue;
        }
        runIdleRound();
    }
    joinDisplayThread();
}

void PluginHost::post(const Ref<PluginHostAction>& action) {
    const base::core::ScopedLock lock(actionsLock);
    actions.push_back(action);
    actionsAvailable.broadcast();
}

void PluginHost::runOnMainThread(const Ref<PluginHostAction>& action) {
    if (isMainThread())
        action->run();
    else
        post(action);
}

Ref<Plugin> PluginHost::getPlugin(const String& path) {
    for (const Ref<Plugin>& plugin : plugins) {
        if (plugin->getPath() == path)
            return plugin;
    }
    // The end of the path decides, without a dot and case-sensitively; the content plays no part. Deliberate:
    // clients choose the format by the name.
    PluginApi* api = String::endsWith(path, "vst3") ? static_cast<PluginApi*>(&Vst3PluginApi::instance)
                                                    : static_cast<PluginApi*>(&Vst2PluginApi::instance);
    Ref<Plugin> plugin = api->createPlugin(this, path);
    if (plugin)
        plugins.push_back(plugin);
    return plugin;
}

Ref<PluginInstance> PluginHost::createPluginInstance(int32_t instanceId, const String& path,
                                                     const String& identifier, bool dpiAware) {
    const Ref<Plugin> plugin = getPlugin(path);
    if (!plugin || !plugin->isValid())
        throw PluginException(concat("Couldn't load VST plug-in: ", path));
    Ref<PluginInstance> instance = plugin->createInstance(instanceId, identifier, dpiAware);
    if (!instance)
        throw PluginException(concat("Couldn't instantiate VST plug-in: ", path));
    instance->initialize();
    instances.insert(instanceId, instance);
    return instance;
}

bool PluginHost::waitForAction(double secondsLeft) {
    const timespec deadline = base::core::monotonicDeadline(secondsLeft);
    const base::core::ScopedLock lock(actionsLock);
    // An action may have come since the queue was found empty.
    return !actions.empty() || actionsAvailable.waitUntil(actionsLock, deadline);
}

Ref<PluginHostAction> PluginHost::takeAction() {
    const base::core::ScopedLock lock(actionsLock);
    if (actions.empty())
        return nullptr;
    Ref<PluginHostAction> action = actions.front();
    actions.pop_front();
    return action;
}

void PluginHost::runIdleRound() {
    lastIdleTime = wallClockMilliseconds();
    instances.freeRetired();
    instances.forEach([](PluginInstance& instance) { instance.idle(); });
}

void PluginHost::joinDisplayThread() {
    display.sendShutdownEvent();
    displayThread->join();
    // The thread has disconnected; after a broken connection calls on it are harmless.
    if (displayThread->hasDisconnected())
        display.connection = nullptr;
    displayThread = nullptr;
}

void PluginHost::dropInstances() {
    instances.clear();
    // Actions hold instances, and a plug-in that ends may post another.
    while (const Ref<PluginHostAction> action = takeAction()) {
    }
}

void PluginHost::closeWindows() {
    // A closed window takes its entry out of the map.
    while (!windows.empty()) {
        const auto [windowId, instance] = *windows.begin();
        instance->closeEditor();
        windows.erase(windowId);
    }
}
