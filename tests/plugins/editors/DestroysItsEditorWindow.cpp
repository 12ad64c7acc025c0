// An effect that destroys the window of its open editor without a word to its host, before it asks for
// another size.

#include "plugins/editors/EditorEffect.h"

namespace {

class DestroysItsEditorWindow : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void requestSize(int32_t width, int32_t height) override {
        window.reset();
        EditorEffect::requestSize(width, height);
    }
};

} // namespace

EDITOR_EFFECT_ENTRY(DestroysItsEditorWindow)
