#include "plugins/editors/EditorEffect.h"

#include <cstdio>

using namespace test_support;

EditorEffect::EditorEffect(audioMasterCallback host)
    : SilentEffect(
          host,
          {.uniqueId = 0x45646974, .name = "Editor", .flags = effFlagsCanReplacing | effFlagsHasEditor}) {
    setRectangle(EditorWindow::defaultWidth, EditorWindow::defaultHeight);
    editorRecord()->requestSize = [this](int32_t width, int32_t height) { requestSize(width, height); };
}

EditorEffect::~EditorEffect() {
    editorRecord()->requestSize = {};
}

VstIntPtr EditorEffect::dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    CallLog& calls = editorRecord()->calls;
    switch (opcode) {
    case effEditGetRect:
        calls.add("rectangle");
        *static_cast<ERect**>(ptr) = getRectangle();
        return getRectangle() != nullptr ? 1 : 0;
    case effEditOpen: {
        const auto parent = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(ptr));
        editorRecord()->openedIn(parent, "open");
        openEditor(parent);
        return 1;
    }
    case effEditClose:
        calls.add("close");
        closeEditor();
        return 0;
    case effEditIdle:
        ++editorRecord()->idles;
        return 0;
    case effVendorSpecific: {
        char text[64];
        std::snprintf(text, sizeof text, "vendor %08X %08X %g", static_cast<unsigned>(index),
                      static_cast<unsigned>(value), static_cast<double>(opt));
        calls.add(text);
        return 0;
    }
    default:
        return SilentEffect::dispatch(opcode, index, value, ptr, opt);
    }
}

void EditorEffect::openEditor(uint32_t parent) {
    window.emplace(parent);
}

void EditorEffect::closeEditor() {
    window.reset();
}

ERect* EditorEffect::getRectangle() {
    return &rectangle;
}

void EditorEffect::requestSize(int32_t width, int32_t height) {
    callHost(audioMasterSizeWindow, width, height);
}

void EditorEffect::setRectangle(int32_t width, int32_t height) {
    // The corner stands anywhere: only the differences count.
    rectangle = {30, 40, static_cast<VstInt16>(30 + height), static_cast<VstInt16>(40 + width)};
}
