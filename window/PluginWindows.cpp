#include "window/PluginWindows.h"

#include "window/XDisplayThread.h"
#include "window/XcbPluginWindow.h"

PluginWindows::PluginWindows(PluginHostContext* host) : host(host) {}

PluginWindows::~PluginWindows() {
    stopListening();
}

void PluginWindows::startListening() {
    displayThread = std::make_unique<XDisplayThread>(host, display);
    displayThread->start();
}

void PluginWindows::stopListening() {
    if (!displayThread)
        return;
    display.sendShutdownEvent();
    displayThread->join();
    // The thread has disconnected, or the server broke the connection: calls on it have no effect.
    if (displayThread->hasDisconnected())
        display.connection = nullptr;
    displayThread = nullptr;
}

std::unique_ptr<PluginWindow> PluginWindows::create(PluginInstance& instance, uint32_t parentWindow) {
    auto window = std::make_unique<XcbPluginWindow>(*this, &instance, parentWindow);
    if (!window->create())
        return nullptr;
    return window;
}

void PluginWindows::closeAll() {
    for (;;) {
        Ref<PluginInstance> instance;
        uint32_t windowId = 0;
        {
            const auto open = instances.lock();
            if (open->empty())
                return;
            windowId = open->begin()->first;
            instance = open->begin()->second;
        }
        // The window's destructor removes its entry from the map.
        instance->closeEditor();
        remove(windowId);
    }
}

Ref<PluginInstance> PluginWindows::find(uint32_t windowId) {
    const auto open = instances.lock();
    const auto entry = open->find(windowId);
    return entry != open->end() ? entry->second : nullptr;
}

bool PluginWindows::isEmpty() {
    return instances.lock()->empty();
}

void PluginWindows::add(uint32_t windowId, PluginInstance* instance) {
    instances.lock()->try_emplace(windowId, instance);
}

Ref<PluginInstance> PluginWindows::remove(uint32_t windowId) {
    const auto open = instances.lock();
    const auto entry = open->find(windowId);
    if (entry == open->end())
        return nullptr;
    Ref<PluginInstance> instance = entry->second;
    open->erase(entry);
    return instance;
}
