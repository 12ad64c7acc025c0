#include "rigs/Vst3Rig.h"

#include "plugins/Vst3Factory.h"
#include "vst3/Vst3PluginInstance.h"

#include <cstring>
#include <vector>

namespace {

constexpr Vst::ParamID firstId = 1000;
constexpr int32_t parameterCount = 64;
constexpr const char* componentText = "436F756E74696E670000000000000001";
const FUID componentClass(0x436F756E, 0x74696E67, 0, 1);
const FUID controllerClass(0x436F756E, 0x74696E67, 0, 2);

std::vector<Vst3Parameter> countedParameters() {
    std::vector<Vst3Parameter> parameters;
    for (Vst::ParamID i = 0; i < parameterCount; ++i)
        parameters.push_back({.id = firstId + i, .title = "Counted"});
    return parameters;
}

Vst::Event noteOn(int32_t sampleOffset) {
    Vst::Event event;
    std::memset(&event, 0, sizeof event);
    event.type = Vst::Event::kNoteOnEvent;
    event.sampleOffset = sampleOffset;
    return event;
}

} // namespace

class CountingComponent : public Vst3Component {
public:
    CountingComponent()
        : Vst3Component({.controllerClass = controllerClass,
                         .buses = {Vst3Bus::audioInput(), Vst3Bus::audioOutput(), Vst3Bus::eventInput()}}) {
        newest = this;
    }

    tresult PLUGIN_API process(Vst::ProcessData& data) override {
        ++done.blocks;
        done.events += data.inputEvents->getEventCount();
        const int32_t queues = data.inputParameterChanges->getParameterCount();
        for (int32_t i = 0; i < queues; ++i)
            done.changes += data.inputParameterChanges->getParameterData(i)->getPointCount();
        return kResultOk;
    }

    static inline CountingComponent* newest;
    WorkDone done;
};

/// Returns prepared records, since the host reads two with each change.
class CountingController : public Vst3Controller {
public:
    CountingController() : Vst3Controller(countedParameters()) {
        for (Vst::ParamID i = 0; i < parameterCount; ++i)
            infos[i].id = firstId + i;
        newest = this;
    }

    tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Vst::ParameterInfo& info) override {
        ++CountingComponent::newest->done.questions;
        info = infos[static_cast<size_t>(index)];
        return kResultOk;
    }
    tresult PLUGIN_API setParamNormalized(Vst::ParamID, Vst::ParamValue) override { return kResultOk; }

    static inline CountingController* newest;

private:
    std::vector<Vst::ParameterInfo> infos = std::vector<Vst::ParameterInfo>(parameterCount);
};

Vst3Rig::Vst3Rig() : plugin(new Vst3Plugin(host.get(), "counting.vst3")) {
    plugin->factory =
        Steinberg::owned(new Vst3Factory({vst3Class<CountingComponent>(componentClass, "Counting"),
                                          vst3Class<CountingController>(controllerClass, "Counting")}));
    const Ref<Vst3PluginInstance> made(
        new Vst3PluginInstance(host.get(), plugin.get(), 1, componentText, false));
    made->createComponents();
    component = CountingComponent::newest;
    controller = CountingController::newest;
    setUp(Ref<PluginInstance>(made.get()));
    // Without what the instance asked before its first block.
    component->done = {};
    fillLists();
}

Vst3Rig::~Vst3Rig() = default;

void Vst3Rig::renderDirectly(const Work& work) {
    Vst::IEditController* const edited = controller;
    Vst::ParameterInfo info;
    for (int32_t i = 0; i < work.changes; ++i) {
        const ParameterChange& change = context->getRegions().parameterChanges[i];
        edited->getParameterInfo(change.parameterIndex, info);
        edited->getParameterInfo(change.parameterIndex, info);
        edited->setParamNormalized(info.id, change.value);
    }
    Vst::AudioBusBuffers input;
    input.numChannels = 2;
    input.channelBuffers32 = instance->audio.getInputChannels();
    Vst::AudioBusBuffers output;
    output.numChannels = 2;
    output.channelBuffers32 = instance->audio.getOutputChannels();
    Vst::ProcessData data;
    data.processMode = Vst::kRealtime;
    data.symbolicSampleSize = Vst::kSample32;
    data.numSamples = frames;
    data.numInputs = data.numOutputs = 1;
    data.inputs = &input;
    data.outputs = &output;
    data.inputParameterChanges = work.changes > 0 ? &allChanges : &noChanges;
    data.inputEvents = work.events > 0 ? &allEvents : &noEvents;
    data.processContext = &processContext;
    Vst::IAudioProcessor* const processor = component;
    processor->process(data);
}

WorkDone& Vst3Rig::getDone() {
    return component->done;
}

void Vst3Rig::fillLists() {
    for (int32_t i = 0; i < changes; ++i)
        allChanges.queueOf(firstId + context->getRegions().parameterChanges[i].parameterIndex)
            ->append(0, 0.5);
    for (int32_t i = 0; i < context->getRegions().inputEventCapacity; ++i) {
        Vst::Event event = noteOn(i);
        allEvents.addEvent(event);
    }
}
