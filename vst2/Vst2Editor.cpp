// The part of `Vst2PluginInstance` that opens and closes the editor. The plug-in gets the id of a window, and
// makes its own in it.

#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotifications.h"
#include "vst2/Vst2PluginInstance.h"

#include <memory>

namespace {

constexpr int32_t smallestWindow = 10; // pixels
// The published numbers of the call that passes the scale to a plug-in.
constexpr VstInt32 scaleIndex = 0x50726553;
constexpr VstIntPtr scaleValue = 0x41654373;

} // namespace

bool Vst2PluginInstance::hasEditor() {
    return (effect->flags & effFlagsHasEditor) != 0;
}

bool Vst2PluginInstance::canResizeEditor() {
    return false;
}

bool Vst2PluginInstance::checkEditorSize(int32_t&, int32_t&) {
    return false;
}

// Without UBSan's check for null: the window may be null below.
__attribute__((no_sanitize("null"))) void
Vst2PluginInstance::openEditor(uint32_t parentWindow, bool resizable, const String& title) {
    if (window != nullptr)
        return;
    beginWindowChange();
    adoptEditorSize();
    delete window.get();
    window = host->createWindow(*this, parentWindow).release();
    PluginWindow* open = window;
    // Oddity editor-without-window-fatal: unguarded, so a host that can't make its windows crashes here.
    const float scale = open->getScaleFactor();
    if (dpiAware)
        dispatch(effVendorSpecific, scaleIndex, scaleValue, nullptr, scale);
    dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(uintptr_t{open->getWindowId()}));
    finishOpening(*open, resizable, title, [this, open] {
        adoptEditorSize();
        applyEditorSize(*open);
    });
}

void Vst2PluginInstance::adoptEditorSize() {
    ERect* rectangle = nullptr;
    dispatch(effEditGetRect, 0, 0, static_cast<void*>(&rectangle));
    if (rectangle == nullptr)
        return;
    windowWidth = rectangle->right - rectangle->left;
    windowHeight = rectangle->bottom - rectangle->top;
}

void Vst2PluginInstance::applyEditorSize(PluginWindow& open) {
    // Repeated if a thread of the plug-in has requested another size meanwhile: that may have been applied
    // just before the older one. A plug-in that never stops applies its last request itself.
    constexpr int32_t rounds = 100;
    for (int32_t round = 0; round < rounds; ++round) {
        const int32_t width = windowWidth;
        const int32_t height = windowHeight;
        open.resize(static_cast<uint32_t>(width), static_cast<uint32_t>(height));
        if (width == windowWidth && height == windowHeight)
            return;
    }
}

void Vst2PluginInstance::closeEditor() {
    if (window == nullptr)
        return;
    dispatch(effEditClose);
    endLeftEdit();
    windowHidden = false;
    destroyWindow();
}

void Vst2PluginInstance::editorWasClosed() {
    closeEditor();
    if (PluginHostProxyHandler* sender = host->handler.get()) {
        const Ref<PluginHostNotification> notification(
            new PluginWindowClosedNotification(instanceId, sender));
        sender->sendNotification(*notification);
    }
}

void Vst2PluginInstance::editorMouseWheel(float) {}

bool Vst2PluginInstance::editorKeyDown(uint16_t key, int16_t, int32_t modifiers) {
    return dispatchKey(effEditKeyDown, key, modifiers);
}

bool Vst2PluginInstance::editorKeyUp(uint16_t key, int16_t, int32_t modifiers) {
    return dispatchKey(effEditKeyUp, key, modifiers);
}

void Vst2PluginInstance::editorFocusChanged(bool) {}

void Vst2PluginInstance::editorSetSize(int32_t&, int32_t&) {}

VstIntPtr Vst2PluginInstance::sizeWindow(int32_t width, int32_t height) {
    windowWidth = width;
    windowHeight = height;
    PluginWindow* open = window;
    if (open != nullptr && width >= smallestWindow && height >= smallestWindow)
        open->resize(static_cast<uint32_t>(width), static_cast<uint32_t>(height));
    return 1;
}
