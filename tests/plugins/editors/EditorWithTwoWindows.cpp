// An effect with two windows in the host's: a small one for the system first, and then the one that it draws
// in.

#include "plugins/editors/EditorEffect.h"

namespace {

class EditorWithTwoWindows : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void openEditor(uint32_t parent) override {
        constexpr uint16_t smallSize = 10;
        first.emplace(parent, smallSize, smallSize);
        EditorEffect::openEditor(parent);
    }

    void closeEditor() override {
        first.reset();
        EditorEffect::closeEditor();
    }

private:
    std::optional<EditorWindow> first;
};

} // namespace

EDITOR_EFFECT_ENTRY(EditorWithTwoWindows)
