#include "support/RecordedBlock.h"

namespace test_support {
namespace {

std::vector<RecordedBus> recordBuses(const Vst::AudioBusBuffers* buses, int32_t count) {
    std::vector<RecordedBus> recorded;
    for (int32_t i = 0; i < count; ++i)
        recorded.push_back({buses[i].numChannels, buses[i].silenceFlags, buses[i].channelBuffers32});
    return recorded;
}

std::vector<RecordedQueue> recordChanges(Vst::IParameterChanges& changes) {
    std::vector<RecordedQueue> recorded;
    for (int32_t i = 0; i < changes.getParameterCount(); ++i) {
        Vst::IParamValueQueue& queue = *changes.getParameterData(i);
        recorded.push_back({queue.getParameterId(), {}});
        for (int32_t k = 0; k < queue.getPointCount(); ++k) {
            RecordedPoint point{};
            queue.getPoint(k, point.sampleOffset, point.value);
            recorded.back().points.push_back(point);
        }
    }
    return recorded;
}

std::vector<Vst::Event> recordEvents(Vst::IEventList& list) {
    std::vector<Vst::Event> recorded(static_cast<size_t>(list.getEventCount()));
    for (size_t i = 0; i < recorded.size(); ++i)
        list.getEvent(static_cast<int32_t>(i), recorded[i]);
    return recorded;
}

bool isAligned(const Vst::AudioBusBuffers* buses) {
    return reinterpret_cast<uintptr_t>(buses) % 16 == 0;
}

} // namespace

RecordedBlock::RecordedBlock(const Vst::ProcessData& data)
    : processMode(data.processMode), sampleSize(data.symbolicSampleSize), frames(data.numSamples),
      inputs(recordBuses(data.inputs, data.numInputs)), outputs(recordBuses(data.outputs, data.numOutputs)),
      hasAlignedBuses(isAligned(data.inputs) && isAligned(data.outputs)),
      changes(recordChanges(*data.inputParameterChanges)), context(*data.processContext) {
    if (data.outputParameterChanges != nullptr)
        outputChangeCount = data.outputParameterChanges->getParameterCount();
    if (data.inputEvents != nullptr)
        inputEvents = recordEvents(*data.inputEvents);
    if (data.outputEvents != nullptr)
        outputEventCount = data.outputEvents->getEventCount();
    for (const Vst::Event& event : inputEvents.value_or(std::vector<Vst::Event>()))
        if (event.type == Vst::Event::kDataEvent)
            systemExclusive.emplace_back(reinterpret_cast<const char*>(event.data.bytes), event.data.size);
}

} // namespace test_support
