// An effect with a tail: a stereo echo.

#include "plugins/EchoSound.h"
#include "plugins/Vst2Effect.h"

namespace {

class Echo : public Vst2Effect {
public:
    explicit Echo(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x45636830,
                            .name = "Echo",
                            .parameters = EchoSound::parameterCount,
                            .category = 6,
                            .hasDials = true}) {
        for (int32_t index = 0; index < EchoSound::parameterCount; ++index)
            setParameter(index, EchoSound::parameterTexts[index].defaultValue);
    }

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        sound.render(getSettings(), inputs, outputs, frames);
    }

    void mainsChanged(bool on) override {
        if (on)
            sound.start(sampleRate);
    }

    VstIntPtr getTailSize() override { return sound.getTail(getSettings()); }

    const char* getParameterName(int32_t index) override { return EchoSound::parameterTexts[index].name; }
    const char* getParameterLabel(int32_t index) override { return EchoSound::parameterTexts[index].label; }

    void getParameterDisplay(int32_t index, char* text, size_t size) override {
        EchoSound::displayParameter(index, getParameter(index), text, size);
    }

private:
    EchoSound::Settings getSettings() {
        return {getParameter(EchoSound::delayParameter), getParameter(EchoSound::feedbackParameter),
                getParameter(EchoSound::mixParameter)};
    }

    EchoSound sound;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Echo(host))->getEffect();
}
