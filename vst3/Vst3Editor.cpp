// The part of `Vst3PluginInstance` that opens and closes the editor: a view of the plug-in's, attached to a
// window of the host.

#include "plugin/PluginHostContext.h"
#include "plugin/PluginWindowActions.h"
#include "vst3/Vst3PluginInstance.h"
#include "vst3/Vst3Result.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace {

constexpr const char* sizeLocation = "\"Vst3PluginInstance::openGUI#getSize\"";
constexpr int32_t smallestWindow = 11; // pixels

// The client's bits, and those of the SDK, whose header isn't available.
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

struct ViewSize {
    int32_t width;
    int32_t height;

    bool operator==(const ViewSize&) const = default;
};

// The edges are a plug-in's, and may have any values.
int32_t distance(int32_t from, int32_t to) {
    return static_cast<int32_t>(std::clamp(int64_t{to} - from, int64_t{std::numeric_limits<int32_t>::min()},
                                           int64_t{std::numeric_limits<int32_t>::max()}));
}

ViewSize sizeOf(const Steinberg::ViewRect& rectangle) {
    return {distance(rectangle.left, rectangle.right), distance(rectangle.top, rectangle.bottom)};
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
    made->setFrame(host->getFrame());
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

void Vst3PluginInstance::openEditor(uint32_t parentWindow, bool resizable, const String& title) {
    if (Steinberg::IPlugView* editor = provideView(); editor != nullptr && window == nullptr)
        openGUI(parentWindow, resizable, title, *editor);
}

void Vst3PluginInstance::openGUI(uint32_t parentWindow, bool resizable, const String& title,
                                 Steinberg::IPlugView& editor) {
    if (window != nullptr)
        return;
    beginWindowChange();
    if (hasWindowPosition) {
        // Sets the view's last size. The client isn't notified while `windowBusy` is set.
        editorSizeChanged(0, 0, windowWidth, windowHeight);
    } else {
        adoptViewSize(editor);
    }
    PluginWindow* open = PluginInstance::host->createWindow(*this, parentWindow).release();
    if (open == nullptr)
        return;
    window = open;
    const ViewSize former{windowWidth, windowHeight};
    // Result ignored: the plug-in's window is what counts.
    editor.attached(reinterpret_cast<void*>(uintptr_t{open->getWindowId()}),
                    Steinberg::kPlatformTypeX11EmbedWindowID);
    finishOpening(*open, resizable, title, [&] {
        const ViewSize asked{windowWidth, windowHeight};
        adoptViewSize(editor);
        // The size that the view reports overrides one that it has requested meanwhile. That request has
        // posted its own size to the view, so the reported one is posted after it.
        applySize(*open, asked != former && asked != ViewSize{windowWidth, windowHeight});
    });
}

void Vst3PluginInstance::adoptViewSize(Steinberg::IPlugView& editor) {
    Steinberg::ViewRect rectangle;
    if (checkResult(editor.getSize(&rectangle), sizeLocation) != kResultOk)
        return;
    const ViewSize size = sizeOf(rectangle);
    windowWidth = size.width;
    windowHeight = size.height;
}

void Vst3PluginInstance::applySize(PluginWindow& open, bool tellsView) {
    // The view may request another size concurrently, from a thread of its own. It stores that before it
    // resizes the window, so the last request wins.
    ViewSize applied{};
    do {
        applied = {windowWidth, windowHeight};
        open.resize(static_cast<uint32_t>(applied.width), static_cast<uint32_t>(applied.height));
        if (tellsView)
            postSize(open, applied.width, applied.height);
    } while (applied != ViewSize{windowWidth, windowHeight});
}

void Vst3PluginInstance::postSize(const PluginWindow& open, int32_t width, int32_t height) {
    PluginInstance::host->post(
        new PluginWindowResizedAction(PluginInstance::host, open.getWindowId(), width, height));
}

void Vst3PluginInstance::closeEditor() {
    if (view && window != nullptr)
        view->removed();
    // Oddity scale-support-outlives-view: `contentScaleSupport` is kept until the instance ends.
    view = nullptr;
    windowHidden = false;
    if (window != nullptr)
        endLeftEdit();
    destroyWindow();
}

void Vst3PluginInstance::editorWasClosed() {
    destroyWindow();
}

void Vst3PluginInstance::editorSizeChanged(int32_t x, int32_t y, int32_t width, int32_t height) {
    if (view) {
        Steinberg::ViewRect size(0, 0, width, height);
        view->onSize(&size);
    }
    PluginInstance::editorSizeChanged(x, y, width, height);
}

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
    Steinberg::ViewRect rectangle(0, 0, width, height);
    const bool isAllowed = view->checkSizeConstraint(&rectangle) == kResultOk;
    const bool isFixed = view->canResize() == kResultFalse;
    if (!isAllowed || isFixed)
        view->getSize(&rectangle);
    const ViewSize size = sizeOf(rectangle);
    width = size.width;
    height = size.height;
}

tresult Vst3PluginInstance::resizeView(Steinberg::IPlugView*, Steinberg::ViewRect* newSize) {
    const ViewSize size = sizeOf(*newSize);
    PluginWindow* open = window;
    if (size.width < smallestWindow || size.height < smallestWindow || open == nullptr)
        return kResultOk;
    const bool isNew = size != ViewSize{windowWidth, windowHeight};
    windowWidth = size.width;
    windowHeight = size.height;
    open->resize(static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height));
    // The view is notified of its new size later, from the main thread, and not of a size that it has:
    // otherwise requests and notifications could alternate without end.
    if (isNew)
        postSize(*open, size.width, size.height);
    return kResultOk;
}
