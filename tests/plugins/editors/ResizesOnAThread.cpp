// An effect that asks for another size of its editor on a thread of its own.

#include "plugins/editors/EditorEffect.h"

namespace {

class ResizesOnAThread : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void requestSize(int32_t width, int32_t height) override {
        resizing.emplace(0, [this, width, height] {
            EditorEffect::requestSize(width, height);
            return false;
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

EDITOR_EFFECT_ENTRY(ResizesOnAThread)
