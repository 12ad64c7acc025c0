// An effect that knows the size of its editor only once it is open.

#include "plugins/editors/EditorEffect.h"

namespace {

class GrowsWhenOpened : public EditorEffect {
public:
    explicit GrowsWhenOpened(audioMasterCallback host) : EditorEffect(host) { setRectangle(1, 1); }

protected:
    void openEditor(uint32_t parent) override {
        EditorEffect::openEditor(parent);
        setRectangle(320, 240);
    }
};

} // namespace

EDITOR_EFFECT_ENTRY(GrowsWhenOpened)
