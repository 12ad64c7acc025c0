// An effect that says it has an editor and never makes a window.

#include "plugins/editors/EditorEffect.h"

namespace {

class EditorWithoutWindow : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void openEditor(uint32_t) override {}
};

} // namespace

EDITOR_EFFECT_ENTRY(EditorWithoutWindow)
