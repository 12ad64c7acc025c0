#pragma once

#include "plugins/editors/EditorPlugin.h"

/// A view whose window comes when the test has it made, after it was attached.
class LateView : public EditorView {
protected:
    void openEditor(uint32_t parent) override {
        editorRecord()->makeWindow = [this, parent] { window.emplace(parent); };
    }

    void closeEditor() override {
        editorRecord()->makeWindow = {};
        EditorView::closeEditor();
    }
};
