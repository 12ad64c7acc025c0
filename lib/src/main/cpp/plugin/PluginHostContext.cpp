#include "plugin/PluginHostContext.h"

#include "plugin/Extensions.h"
#include "plugin/PluginWindow.h"

#include <algorithm>
#include <atomic>

namespace {

std::atomic<PluginHostContext*> currentHost{nullptr};

} // namespace

PluginHostContext::PluginHostContext(int32_t sampleRate, int32_t blockSize)
    : sampleRate(sampleRate), blockSize(std::max(blockSize, 0)) {
    readExtensions();
    currentHost.store(this, std::memory_order_release);
}

PluginHostContext::~PluginHostContext() {
    PluginHostContext* self = this;
    currentHost.compare_exchange_strong(self, nullptr);
}

PluginHostContext* PluginHostContext::getCurrent() {
    return currentHost.load(std::memory_order_acquire);
}

void PluginHostContext::runOnMainThread(const Ref<PluginHostAction>& action) {
    if (isMainThread())
        action->run();
    else
        post(action);
}
