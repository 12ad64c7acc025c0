// The part of `Vst3PluginInstance` that answers for the editor.

#include "vst3/Vst3PluginInstance.h"

#include "core/StdStreams.h"

namespace {

// The client's bits, and those of the SDK, whose header isn't at hand.
constexpr int32_t shiftModifier = 0x1;
constexpr int32_t commandModifier = 0x2;
constexpr int32_t alternateModifier = 0x8;
constexpr int16_t kShiftKey = 1;
constexpr int16_t kAlternateKey = 2;
constexpr int16_t kCommandKey = 4;

int16_t keyModifiers(int32_t modifiers) {
    int mapped = 0;
    if ((modifiers & shiftModifier) != 0)
        mapped |= kShiftKey;
    if ((modifiers & alternateModifier) != 0)
        mapped |= kAlternateKey;
    if ((modifiers & commandModifier) != 0)
        mapped |= kCommandKey;
    return static_cast<int16_t>(mapped);
}

} // namespace

bool Vst3PluginInstance::hasEditor() {
    return controller && provideView() != nullptr;
}

bool Vst3PluginInstance::supportsViewDpiScaling() {
    provideView();
    return contentScaleSupport.get() != nullptr;
}

Steinberg::IPlugView* Vst3PluginInstance::provideView() {
    if (!view)
        view = makeView();
    return view;
}

IPtr<Steinberg::IPlugView> Vst3PluginInstance::makeView() {
    IPtr<Steinberg::IPlugView> made;
    if (controller) {
        made = Steinberg::owned(controller->createView(Vst::ViewType::kEditor));
        if (!made)
            made = Steinberg::owned(controller->createView(nullptr));
        if (!made)
            made = interfaceOf<Steinberg::IPlugView>(controller);
    }
    if (!made)
        made = interfaceOf<Steinberg::IPlugView>(component);
    if (!made)
        return made;
    made->setFrame(this);
    contentScaleSupport = interfaceOf<Steinberg::IPlugViewContentScaleSupport>(made);
    return made;
}

bool Vst3PluginInstance::canResizeEditor() {
    return view && view->canResize() == kResultOk;
}

bool Vst3PluginInstance::checkEditorSize(int32_t& width, int32_t& height) {
    if (!view)
        return false;
    Steinberg::ViewRect size(0, 0, width, height);
    if (view->checkSizeConstraint(&size) != kResultOk)
        return false;
    width = size.right;
    height = size.bottom;
    return true;
}

void Vst3PluginInstance::openEditor(uint32_t, bool, const String&) {
    base::core::standardError().printLine(concat("This version opens no editors: ", getName()));
}

void Vst3PluginInstance::closeEditor() {
    view = nullptr;
    windowHidden = false;
}

void Vst3PluginInstance::editorWasClosed() {}

void Vst3PluginInstance::editorMouseWheel(float distance) {
    if (view)
        view->onWheel(distance);
}

bool Vst3PluginInstance::editorKeyDown(uint16_t key, int16_t keyCode, int32_t modifiers) {
    return view && view->onKeyDown(key, keyCode, keyModifiers(modifiers)) == kResultOk;
}

bool Vst3PluginInstance::editorKeyUp(uint16_t key, int16_t keyCode, int32_t modifiers) {
    return view && view->onKeyUp(key, keyCode, keyModifiers(modifiers)) == kResultOk;
}

void Vst3PluginInstance::editorFocusChanged(bool focused) {
    if (view)
        view->onFocus(focused);
}

void Vst3PluginInstance::editorSetSize(int32_t& width, int32_t& height) {
    if (!view)
        return;
    Steinberg::ViewRect size(0, 0, width, height);
    const bool isAllowed = view->checkSizeConstraint(&size) == kResultOk;
    const bool isFixed = view->canResize() == kResultFalse;
    if (!isAllowed || isFixed)
        view->getSize(&size);
    width = size.getWidth();
    height = size.getHeight();
}

tresult Vst3PluginInstance::resizeView(Steinberg::IPlugView*, Steinberg::ViewRect*) {
    return kResultOk;
}
