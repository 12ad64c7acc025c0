#pragma once

#include "plugins/editors/EditorEffect.h"

/// An effect whose window comes when the test has it made, after its editor was opened.
class LateEditor : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void openEditor(uint32_t parent) override {
        editorRecord()->makeWindow = [this, parent] { window.emplace(parent); };
    }

    void closeEditor() override {
        editorRecord()->makeWindow = {};
        EditorEffect::closeEditor();
    }
};
