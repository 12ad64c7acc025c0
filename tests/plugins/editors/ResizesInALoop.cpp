// An effect that asks for another size of its editor every millisecond, on a thread of its own.

#include "plugins/editors/EditorEffect.h"

namespace {

class ResizesInALoop : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void openEditor(uint32_t parent) override {
        EditorEffect::openEditor(parent);
        resizing.emplace(1, [this, step = 0]() mutable {
            step = (step + 1) % 2;
            requestSize(200 + 40 * step, 120 + 40 * step);
            editorRecord()->calls.add("resized");
            return true;
        });
    }

    void closeEditor() override {
        resizing.reset();
        EditorEffect::closeEditor();
    }

private:
    std::optional<EditorThread> resizing;
};

} // namespace

EDITOR_EFFECT_ENTRY(ResizesInALoop)
