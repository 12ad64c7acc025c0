#include "plugin/PluginInstance.h"

#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginText.h"

PluginInstance::PluginInstance(PluginHostContext* host, int32_t instanceId, bool dpiAware)
    : host(host), instanceId(instanceId), dpiAware(dpiAware) {}

PluginInstance::~PluginInstance() {
    delete window.get();
}

bool PluginInstance::hasMidiControllerMapping() {
    return false;
}

void PluginInstance::setParameterValue(int32_t index, float) {
    audio.markDisplayDirty(index);
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
    PluginAudioContext* context = audio.getContext();
    if (context == nullptr)
        return;
    audio.pendingDisplayUpdates.store(0, std::memory_order_relaxed);
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
    parameterEdit.begin(index);
}

void PluginInstance::endParameterEdit(int32_t index) {
    notifyParameterEdit(index, false);
    parameterEdit.end(index);
}

void PluginInstance::endLeftEdit() {
    if (const std::optional<int32_t> held = parameterEdit.getHeld())
        endParameterEdit(*held);
}

void PluginInstance::setAudioContext(const Ref<PluginAudioContext>& context) {
    audio.connect(*context, host->sampleRate, host->blockSize);
    channelsChanged();
    audio.publish(context);
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

void PluginInstance::finishOpening(PluginWindow& open, bool resizable, const String& title,
                                   const std::function<void()>& adoptSize) {
    if (!open.waitForPluginWindow()) {
        endLeftEdit();
        destroyWindow();
        return;
    }
    open.setTitle(title);
    adoptSize();
    if (hasWindowPosition)
        open.move(windowX, windowY);
    open.show();
    if (resizable)
        open.setResizable();
    endWindowChange();
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
    audio.markDisplayDirty(index);
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
