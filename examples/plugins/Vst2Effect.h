#pragma once

#include "plugins/DialEditor.h"
#include "vst2/Vst24.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

/// The static properties of an effect.
struct Vst2EffectTraits {
    int32_t uniqueId;
    const char* name;
    int32_t inputs = 2;
    int32_t outputs = 2;
    int32_t parameters = 0;
    int32_t programs = 0;
    int32_t flags = effFlagsCanReplacing;
    int32_t category = 1; // effect
    int32_t latency = 0;  // samples
    /// A dial for each parameter.
    bool hasDials = false;
};

/// A VST 2 effect in C++: the base of the plug-ins of this tree. Owns its `AEffect`; `effClose` deletes it.
/// Parameters are atomic, since a host sets them on its audio thread while it reads them on another.
class Vst2Effect : private DialSource {
public:
    Vst2Effect(audioMasterCallback hostCallback, const Vst2EffectTraits& traits);
    virtual ~Vst2Effect();
    Vst2Effect(const Vst2Effect&) = delete;
    Vst2Effect& operator=(const Vst2Effect&) = delete;

    AEffect* getEffect() { return &effect; }

protected:
    /// Every opcode; the base answers those of the operations below, and 0 to all others.
    virtual VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt);
    /// Replaces the outputs.
    virtual void processReplacing(float** inputs, float** outputs, int32_t frames) = 0;
    /// The older function, which adds to the outputs; the base does nothing.
    virtual void processAccumulating(float** inputs, float** outputs, int32_t frames);
    virtual void setParameter(int32_t index, float value);
    virtual float getParameter(int32_t index);
    virtual const char* getParameterName(int32_t index);
    virtual const char* getParameterLabel(int32_t index);
    /// Writes at most `size` bytes with the terminator.
    virtual void getParameterDisplay(int32_t index, char* text, size_t size);
    virtual bool canDo(const char* ability);
    virtual void setSampleRate(float newSampleRate);
    virtual void setBlockSize(int32_t newBlockSize);
    virtual void mainsChanged(bool on);
    virtual void processEvents(const VstEvents& events);
    /// In samples; 0 is unknown and 1 none.
    virtual VstIntPtr getTailSize();
    virtual void idle();

    VstIntPtr callHost(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                       float opt = 0.0F);

    AEffect effect{};
    float sampleRate = 44100; // Hz
    int32_t blockSize = 256;  // frames

private:
    int32_t countDials() override { return traits.parameters; }
    std::string getDialName(int32_t index) override { return getParameterName(index); }
    std::string getDialText(int32_t index) override;
    float getDialValue(int32_t index) override { return getParameter(index); }
    void beginDrag(int32_t index) override { callHost(audioMasterBeginEdit, index); }
    void drag(int32_t index, float value) override;
    void endDrag(int32_t index) override { callHost(audioMasterEndEdit, index); }

    static Vst2Effect& of(AEffect* effect) { return *static_cast<Vst2Effect*>(effect->object); }

    audioMasterCallback hostCallback;
    Vst2EffectTraits traits;
    std::unique_ptr<std::atomic<float>[]> values;
    ERect editorSize{};
    std::optional<DialEditor> editor;
};
