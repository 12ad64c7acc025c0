#include "host/PluginHost.h"

#include "host/PluginHostRunThread.h"
#include "plugin/PluginApi.h"
#include "plugin/PluginException.h"
#include "plugin/PluginWindow.h"

#include <sys/time.h>

namespace {

constexpr double idleInterval = 0.04; // seconds

uint64_t wallClockMilliseconds() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}

} // namespace

PluginHost::PluginHost(int32_t sampleRate, int32_t blockSize)
    : PluginHostContext(sampleRate, blockSize), windows(this), mainThread(pthread_self()) {}

PluginHost::~PluginHost() {
    windows.closeAll();
    // Still listening after a main loop that threw.
    windows.stopListening();
    dropInstances();
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
    windows.startListening();
    while (!stopRequested) {
        // Unsigned: a clock that was set back gives a huge interval, and so an idle round at once.
        const double sinceIdle = static_cast<double>(wallClockMilliseconds() - lastIdleTime) * 0.001;
        const Ref<PluginHostAction> action = takeAction();
        if (action) {
            action->run();
            // Measured before the action ran: at least one action runs between two idle rounds.
            if (sinceIdle < idleInterval)
                continue;
        } else if (sinceIdle < idleInterval && waitForAction(idleInterval - sinceIdle)) {
            continue;
        }
        runIdleRound();
    }
    windows.stopListening();
}

void PluginHost::post(const Ref<PluginHostAction>& action) {
    const auto queue = actions.lock();
    queue->push_back(action);
    actionsAvailable.broadcast();
}

void PluginHost::stop() {
    stopRequested = true;
}

void PluginHost::addFormat(PluginApi& format) {
    formats.push_back(&format);
}

Ref<Plugin> PluginHost::getPlugin(const String& path) {
    for (const Ref<Plugin>& plugin : plugins) {
        if (plugin->getPath() == path)
            return plugin;
    }
    for (PluginApi* format : formats) {
        if (format->loads(path)) {
            plugins.emplace_back(format->createPlugin(this, path));
            return plugins.back();
        }
    }
    return nullptr;
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

std::unique_ptr<PluginWindow> PluginHost::createWindow(PluginInstance& instance, uint32_t parentWindow) {
    return windows.create(instance, parentWindow);
}

void PluginHost::settleWindow(uint32_t windowId, uint32_t serial) {
    windows.display.sendSettledEvent(windowId, serial);
}

bool PluginHost::waitForAction(double secondsLeft) {
    const timespec deadline = base::core::monotonicDeadline(secondsLeft);
    const auto queue = actions.lock();
    // An action may have been posted since `takeAction`.
    return !queue->empty() || queue.waitUntil(actionsAvailable, deadline);
}

Ref<PluginHostAction> PluginHost::takeAction() {
    const auto queue = actions.lock();
    if (queue->empty())
        return nullptr;
    Ref<PluginHostAction> action = queue->front();
    queue->pop_front();
    return action;
}

void PluginHost::runIdleRound() {
    lastIdleTime = wallClockMilliseconds();
    instances.freeRetired();
    instances.forEach([](PluginInstance& instance) { instance.idle(); });
}

void PluginHost::dropInstances() {
    instances.clear();
    // Actions hold instances, and a plug-in that ends may post another.
    while (const Ref<PluginHostAction> action = takeAction()) {
    }
}
