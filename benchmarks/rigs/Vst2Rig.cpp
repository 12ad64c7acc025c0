#include "rigs/Vst2Rig.h"

#include "plugins/Vst2Effect.h"
#include "vst2/Vst2PluginInstance.h"

#include <cstddef>
#include <cstring>

namespace {

VstIntPtr silentHost(AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) {
    return 0;
}

} // namespace

class CountingEffect : public Vst2Effect {
public:
    CountingEffect()
        : Vst2Effect(silentHost,
                     {.uniqueId = 0x436f756e, .name = "Counting", .parameters = ProcessRig::changes}) {}

    WorkDone done;

protected:
    void processReplacing(float**, float**, int32_t) override { ++done.blocks; }
    void processEvents(const VstEvents& list) override { done.events += list.numEvents; }
    void setParameter(int32_t, float) override { ++done.changes; }
    bool canDo(const char* ability) override { return std::strcmp(ability, "receiveVstMidiEvent") == 0; }
};

Vst2Rig::Vst2Rig() : effect(new CountingEffect) {
    const Ref<Vst2PluginInstance> made(new Vst2PluginInstance(host.get(), 1, false, nullptr, 0));
    made->attach(effect->getEffect());
    setUp(Ref<PluginInstance>(made.get()));
    fillEventList();
}

Vst2Rig::~Vst2Rig() = default;

void Vst2Rig::renderDirectly(const Work& work) {
    AEffect* const target = effect->getEffect();
    for (int32_t i = 0; i < work.changes; ++i)
        target->setParameter(target, context->getRegions().parameterChanges[i].parameterIndex,
                             context->getRegions().parameterChanges[i].value);
    if (work.events > 0)
        target->dispatcher(target, effProcessEvents, 0, 0, eventList, 0);
    target->processReplacing(target, instance->audio.getInputChannels(), instance->audio.getOutputChannels(),
                             frames);
}

WorkDone& Vst2Rig::getDone() {
    return effect->done;
}

void Vst2Rig::fillEventList() {
    const auto count = static_cast<size_t>(context->getRegions().inputEventCapacity);
    events.assign(count, {});
    listMemory.assign(offsetof(VstEvents, events) + count * sizeof(VstEvent*), 0);
    eventList = reinterpret_cast<VstEvents*>(listMemory.data());
    eventList->numEvents = static_cast<VstInt32>(count);
    for (size_t i = 0; i < count; ++i)
        (&eventList->events[0])[i] = reinterpret_cast<VstEvent*>(&events[i]);
}
