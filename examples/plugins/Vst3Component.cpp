#include "plugins/Vst3Component.h"

#include <iterator>
#include <pluginterfaces/base/ustring.h>

namespace {

Vst3Bus audioBus(Vst::BusDirection direction, const char* name, Vst::SpeakerArrangement arrangement) {
    return {.media = Vst::kAudio, .direction = direction, .name = name, .arrangement = arrangement};
}

Vst3Bus eventBus(Vst::BusDirection direction, const char* name) {
    return {.media = Vst::kEvent, .direction = direction, .name = name};
}

} // namespace

Vst3Bus Vst3Bus::audioInput(Vst::SpeakerArrangement arrangement) {
    return audioBus(Vst::kInput, "Input", arrangement);
}

Vst3Bus Vst3Bus::audioOutput(Vst::SpeakerArrangement arrangement) {
    return audioBus(Vst::kOutput, "Output", arrangement);
}

Vst3Bus Vst3Bus::eventInput() {
    return eventBus(Vst::kInput, "Notes");
}

Vst3Bus Vst3Bus::eventOutput() {
    return eventBus(Vst::kOutput, "Played notes");
}

Vst3Component::Vst3Component(const Vst3ComponentTraits& traits)
    : traits(traits), parameters(traits.parameters) {}

tresult Vst3Component::getControllerClassId(TUID classId) {
    if (!traits.controllerClass.isValid())
        return kNotImplemented;
    traits.controllerClass.toTUID(classId);
    return kResultOk;
}

tresult Vst3Component::setIoMode(Vst::IoMode) {
    return kNotImplemented;
}

Steinberg::int32 Vst3Component::getBusCount(Vst::MediaType media, Vst::BusDirection direction) {
    int32_t count = 0;
    while (findBus(media, direction, count) != nullptr)
        ++count;
    return count;
}

tresult Vst3Component::getBusInfo(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) {
    const Vst3Bus* bus = findBus(media, direction, index);
    if (bus == nullptr)
        return kInvalidArgument;
    info.mediaType = media;
    info.direction = direction;
    info.channelCount =
        media == Vst::kAudio ? Vst::SpeakerArr::getChannelCount(bus->arrangement) : bus->channels;
    Steinberg::UString(info.name, static_cast<int32_t>(std::size(info.name))).fromAscii(bus->name);
    info.busType = bus->type;
    info.flags = Vst::BusInfo::kDefaultActive;
    return kResultOk;
}

tresult Vst3Component::getRoutingInfo(Vst::RoutingInfo&, Vst::RoutingInfo&) {
    return kNotImplemented;
}

tresult Vst3Component::activateBus(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                   Steinberg::TBool) {
    return findBus(media, direction, index) != nullptr ? kResultOk : kInvalidArgument;
}

tresult Vst3Component::setActive(Steinberg::TBool) {
    return kResultOk;
}

tresult Vst3Component::setState(Steinberg::IBStream* state) {
    return state != nullptr ? parameters.read(*state) : tresult{kInvalidArgument};
}

tresult Vst3Component::getState(Steinberg::IBStream* state) {
    return state != nullptr ? parameters.write(*state) : tresult{kInvalidArgument};
}

tresult Vst3Component::setBusArrangements(Vst::SpeakerArrangement* inputs, Steinberg::int32 inputCount,
                                          Vst::SpeakerArrangement* outputs, Steinberg::int32 outputCount) {
    const auto isThere = [this](Vst::BusDirection direction, const Vst::SpeakerArrangement* arrangements,
                                int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            const Vst3Bus* bus = findBus(Vst::kAudio, direction, i);
            if (bus == nullptr || bus->arrangement != arrangements[i])
                return false;
        }
        return count == getBusCount(Vst::kAudio, direction);
    };
    return isThere(Vst::kInput, inputs, inputCount) && isThere(Vst::kOutput, outputs, outputCount)
               ? kResultOk
               : kResultFalse;
}

tresult Vst3Component::getBusArrangement(Vst::BusDirection direction, Steinberg::int32 index,
                                         Vst::SpeakerArrangement& arrangement) {
    const Vst3Bus* bus = findBus(Vst::kAudio, direction, index);
    if (bus == nullptr)
        return kInvalidArgument;
    arrangement = bus->arrangement;
    return kResultOk;
}

tresult Vst3Component::canProcessSampleSize(Steinberg::int32 sampleSize) {
    return sampleSize == Vst::kSample32 ? kResultOk : kResultFalse;
}

Steinberg::uint32 Vst3Component::getLatencySamples() {
    return 0;
}

tresult Vst3Component::setupProcessing(Vst::ProcessSetup& newSetup) {
    setup = newSetup;
    return kResultOk;
}

tresult Vst3Component::setProcessing(Steinberg::TBool) {
    return kResultOk;
}

tresult Vst3Component::process(Vst::ProcessData& data) {
    if (data.inputParameterChanges != nullptr)
        parameters.apply(*data.inputParameterChanges);
    render(data);
    return kResultOk;
}

Steinberg::uint32 Vst3Component::getTailSamples() {
    return Vst::kNoTail;
}

Steinberg::uint32 Vst3Component::getProcessContextRequirements() {
    return 0;
}

void Vst3Component::render(Vst::ProcessData&) {}

const Vst3Bus* Vst3Component::findBus(Vst::MediaType media, Vst::BusDirection direction,
                                      int32_t index) const {
    for (const Vst3Bus& bus : traits.buses) {
        if (bus.media == media && bus.direction == direction && index-- == 0)
            return &bus;
    }
    return nullptr;
}
