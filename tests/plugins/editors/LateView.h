#pragma once

#include "plugins/editors/EditorPlugin.h"

/// A view whose window comes a while, in milliseconds, after it was attached.
template <int delay>
class LateView : public EditorView {
protected:
    void openEditor(uint32_t parent) override {
        late.emplace(delay, [this, parent] {
            window.emplace(parent);
            return false;
        });
    }

    void closeEditor() override {
        late.reset();
        EditorView::closeEditor();
    }

private:
    std::optional<EditorThread> late;
};
