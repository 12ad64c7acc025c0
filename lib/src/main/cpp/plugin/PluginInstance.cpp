#include "plugin/PluginInstance.h"

#include "core/TextEncoding.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostProxyHandler.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// One pointer to each channel; null without channels.
float** makeChannels(int32_t count, float* audio, int32_t stride) {
    if (count == 0)
        return nullptr;
    auto** channels = static_cast<float**>(std::malloc(static_cast<size_t>(count) * sizeof(float*)));
    if (channels == nullptr)
        throw std::bad_alloc();
    for (int32_t i = 0; i < count; ++i)
        channels[i] = audio + static_cast<ptrdiff_t>(i) * stride;
    return channels;
}

} // namespace

String pluginText(const char* buffer, int32_t size) {
    return {buffer, strnlen(buffer, static_cast<size_t>(size)), base::core::UTF8Encoding::instance};
}

PluginInstance::PluginInstance(PluginHostContext* host, int32_t instanceId, bool dpiAware)
    : host(host), instanceId(instanceId), dpiAware(dpiAware) {}

PluginInstance::~PluginInstance() {
    freeChannels();
    delete window.get();
}

bool PluginInstance::hasMidiControllerMapping() {
    return false;
}

void PluginInstance::setParameterValue(int32_t index, float) {
    markDisplayDirty(index);
}

void PluginInstance::setWindowTitle(const String& title) {
    if (PluginWindow* open = window)
        open->setTitle(title);
}

void PluginInstance::editorSizeChanged(int32_t, int32_t, int32_t width, int32_t height) {
    if (windowBusy)
        return;
    windowWidth = width;
    windowHeight = height;
    hasWindowPosition = true;
    if (PluginHostProxyHandler* sender = host->handler.get()) {
        const Ref<PluginHostNotification> notification(new PluginWindowMovedNotification(
            instanceId, sender, windowX, windowY, windowWidth, windowHeight));
        sender->sendNotification(*notification);
    }
}

void PluginInstance::idle() {
    PluginAudioContext* context = audioContext;
    if (context == nullptr)
        return;
    pendingDisplayUpdates.store(0, std::memory_order_relaxed);
    const int32_t count = getParameterCount();
    for (int32_t i = 0; i < count; ++i) {
        if (!context->hasParameterFlag(i, parameterDisplayDirty))
            continue;
        context->clearParameterFlag(i, parameterDisplayDirty);
        const String name = parameterNameText(i);
        const String display = parameterDisplayText(i);
        host->runOnMainThread(new UpdateParameterDisplayNotification(*this, handler, i, name, display));
    }
}

void PluginInstance::noOperation() {}

bool PluginInstance::alwaysFalse() {
    return false;
}

void PluginInstance::beginParameterEdit(int32_t index) {
    notifyParameterEdit(index, true);
}

void PluginInstance::endParameterEdit(int32_t index) {
    notifyParameterEdit(index, false);
}

void PluginInstance::setAudioContext(const Ref<PluginAudioContext>& context) {
    freeChannels();
    inputChannelCount = context->inputChannelCount;
    inputChannels = makeChannels(inputChannelCount, context->inputAudio, context->paddedBlockSize);
    outputChannelCount = context->outputChannelCount;
    outputChannels = makeChannels(outputChannelCount, context->outputAudio, context->paddedBlockSize);
    transport = context->transport;
    channelsChanged();
    audioContext = context;
}

void PluginInstance::channelsChanged() {}

void PluginInstance::beginWindowChange() {
    windowBusy = true;
    ++windowSerial;
}

void PluginInstance::endWindowChange() {
    windowHidden = false;
    if (const PluginWindow* open = window)
        host->settleWindow(open->getWindowId(), windowSerial);
}

void PluginInstance::destroyWindow() {
    PluginWindow* open = window;
    window = nullptr;
    delete open;
}

void PluginInstance::notifyParameterChanged(int32_t index, float value) {
    PluginHostProxyHandler* sender = handler;
    if (notificationsMuted || sender == nullptr)
        return;
    const Ref<PluginInstance> self = holdUnlessEnding();
    if (!self)
        return;
    host->runOnMainThread(new UpdateParameterNotification(*this, sender, index, value));
    markDisplayDirty(index);
}

void PluginInstance::notifyAllParametersChanged() {
    if (notificationsMuted)
        return;
    allParametersChanged = true;
    PluginHostProxyHandler* sender = handler;
    if (sender == nullptr)
        return;
    if (const Ref<PluginInstance> self = holdUnlessEnding())
        host->runOnMainThread(new UpdateAllParametersNotification(*this, sender));
}

void PluginInstance::markDisplayDirty(int32_t index) {
    PluginAudioContext* context = audioContext;
    if (context != nullptr && context->hasParameterFlag(index, parameterWatched)) {
        context->setParameterFlag(index, parameterDisplayDirty);
        pendingDisplayUpdates.fetch_add(1, std::memory_order_relaxed);
    }
}

String PluginInstance::parameterNameText(int32_t index) {
    char buffer[textSize] = {};
    getParameterName(index, buffer, textSize);
    return pluginText(buffer, textSize);
}

String PluginInstance::parameterDisplayText(int32_t index) {
    char buffer[textSize] = {};
    getParameterDisplay(index, buffer, textSize);
    return pluginText(buffer, textSize);
}

String PluginInstance::programNameText(int32_t index) {
    char buffer[textSize] = {};
    getProgramName(index, buffer, textSize);
    return pluginText(buffer, textSize);
}

void PluginInstance::notifyParameterEdit(int32_t index, bool isBegin) {
    PluginHostProxyHandler* sender = handler;
    if (notificationsMuted || sender == nullptr)
        return;
    host->runOnMainThread(new BeginOrEndEditParameterNotification(instanceId, sender, index, isBegin));
}

Ref<PluginInstance> PluginInstance::holdUnlessEnding() {
    if (!base::core::tryRetain(this))
        return nullptr;
    Ref<PluginInstance> self(this);
    base::core::release(this);
    return self;
}

void PluginInstance::freeChannels() {
    std::free(inputChannels);
    inputChannels = nullptr;
    std::free(outputChannels);
    outputChannels = nullptr;
}
