// An effect whose editor never tells its size.

#include "plugins/editors/EditorEffect.h"

namespace {

class EditorWithoutRectangle : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    ERect* getRectangle() override { return nullptr; }
};

} // namespace

EDITOR_EFFECT_ENTRY(EditorWithoutRectangle)
