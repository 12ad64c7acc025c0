// An effect that asks for another size of its editor while it renders.

#include "plugins/editors/EditorEffect.h"

#include <atomic>

namespace {

class ResizesOnTheAudioThread : public EditorEffect {
public:
    using EditorEffect::EditorEffect;

protected:
    void requestSize(int32_t width, int32_t height) override {
        wantedHeight = height;
        wantedWidth = width;
    }

    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        if (const int32_t width = wantedWidth.exchange(0); width != 0)
            EditorEffect::requestSize(width, wantedHeight);
        EditorEffect::processReplacing(inputs, outputs, frames);
    }

private:
    std::atomic<int32_t> wantedWidth = 0;
    std::atomic<int32_t> wantedHeight = 0;
};

} // namespace

EDITOR_EFFECT_ENTRY(ResizesOnTheAudioThread)
