#include "plugins/editors/EditorPlugin.h"

#include <string>

namespace {

tresult record(const std::string& call) {
    editorRecord()->calls.add(call);
    return kResultOk;
}

// The call with its numbers behind it.
template <class... Numbers>
tresult record(std::string call, Numbers... numbers) {
    ((call += " " + std::to_string(numbers)), ...);
    return record(call);
}

} // namespace

EditorView::EditorView() {
    editorRecord()->requestSize = [this](int32_t width, int32_t height) { requestSize(width, height); };
}

EditorView::~EditorView() {
    record("view ends");
}

tresult EditorView::isPlatformTypeSupported(FIDString) {
    return record("platform");
}

tresult EditorView::attached(void* parent, FIDString type) {
    const auto id = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(parent));
    editorRecord()->openedIn(id, std::string("attached ") + type);
    openEditor(id);
    return kResultOk;
}

tresult EditorView::removed() {
    record("removed");
    closeEditor();
    return kResultOk;
}

tresult EditorView::onWheel(float distance) {
    return record("wheel", distance);
}

tresult EditorView::onKeyDown(Steinberg::char16 key, Steinberg::int16 code, Steinberg::int16 modifiers) {
    return record("key down", int{key}, code, modifiers);
}

tresult EditorView::onKeyUp(Steinberg::char16 key, Steinberg::int16 code, Steinberg::int16 modifiers) {
    return record("key up", int{key}, code, modifiers);
}

tresult EditorView::getSize(Steinberg::ViewRect* answer) {
    *answer = size;
    return kResultOk;
}

tresult EditorView::onSize(Steinberg::ViewRect* newSize) {
    size = *newSize;
    return record("size", size.left, size.top, size.right, size.bottom);
}

tresult EditorView::onFocus(Steinberg::TBool state) {
    return record("focus", int{state});
}

tresult EditorView::setFrame(Steinberg::IPlugFrame* newFrame) {
    frame = newFrame;
    return record(newFrame != nullptr ? "frame" : "no frame");
}

tresult EditorView::canResize() {
    return kResultOk;
}

tresult EditorView::checkSizeConstraint(Steinberg::ViewRect*) {
    return kResultOk;
}

void EditorView::openEditor(uint32_t parent) {
    window.emplace(parent);
}

void EditorView::closeEditor() {
    window.reset();
}

void EditorView::requestSize(int32_t width, int32_t height) {
    Steinberg::ViewRect wanted(50, 60, 50 + width, 60 + height);
    record("resize answered", int{frame->resizeView(this, &wanted)});
}
