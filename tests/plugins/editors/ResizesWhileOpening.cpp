// An effect that asks for another size before it has made its window, and tells no rectangle.

#include "plugins/editors/EditorEffect.h"

namespace {

class ResizesWhileOpening : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void openEditor(uint32_t parent) override {
        requestSize(320, 240);
        EditorEffect::openEditor(parent);
    }

    ERect* getRectangle() override { return nullptr; }
};

} // namespace

EDITOR_EFFECT_ENTRY(ResizesWhileOpening)
