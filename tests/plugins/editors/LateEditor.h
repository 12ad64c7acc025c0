#pragma once

#include "plugins/editors/EditorEffect.h"

/// An effect whose window comes a while, in milliseconds, after its editor was opened.
template <int delay>
class LateEditor : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void openEditor(uint32_t parent) override {
        late.emplace(delay, [this, parent] {
            window.emplace(parent);
            return false;
        });
    }

    void closeEditor() override {
        late.reset();
        EditorEffect::closeEditor();
    }

private:
    std::optional<EditorThread> late;
};
