#include "vst3/RecordingPlugin.h"

#include <pluginterfaces/gui/iplugview.h>
#include <pluginterfaces/vst/ivstnoteexpression.h>
#include <pluginterfaces/vst/ivstunits.h>

namespace {

constexpr const char* directionNames[] = {"input", "output"};

std::string busName(Vst::MediaType media, Vst::BusDirection direction, int32_t index) {
    return std::string(media == Vst::kAudio ? "audio " : "event ") + directionNames[direction] + " " +
           std::to_string(index);
}

std::string listOf(const Vst::SpeakerArrangement* arrangements, int32_t count) {
    std::ostringstream text;
    text << count << std::hex;
    for (int32_t i = 0; i < count; ++i)
        text << " 0x" << arrangements[i];
    return text.str();
}

std::string onOff(Steinberg::TBool state) {
    return state != 0 ? " on" : " off";
}

} // namespace

ModuleRecord* moduleRecord() {
    static ModuleRecord record;
    return &record;
}

std::string interfaceName(const char* identifier) {
    const FUID id = FUID::fromTUID(identifier);
    const std::pair<const FUID&, const char*> names[] = {
        {FUnknown::iid, "FUnknown"},
        {Steinberg::IPluginBase::iid, "IPluginBase"},
        {Steinberg::IPluginFactory2::iid, "IPluginFactory2"},
        {Steinberg::IPluginFactory3::iid, "IPluginFactory3"},
        {Vst::IComponent::iid, "IComponent"},
        {Vst::IAudioProcessor::iid, "IAudioProcessor"},
        {Vst::IUnitData::iid, "IUnitData"},
        {Vst::IProgramListData::iid, "IProgramListData"},
        {Vst::IEditController::iid, "IEditController"},
        {Vst::IEditController2::iid, "IEditController2"},
        {Vst::IMidiMapping::iid, "IMidiMapping"},
        {Vst::INoteExpressionController::iid, "INoteExpressionController"},
        {Vst::IConnectionPoint::iid, "IConnectionPoint"},
        {Steinberg::IPlugView::iid, "IPlugView"},
    };
    for (const auto& [known, name] : names) {
        if (id == known)
            return name;
    }
    char digits[33] = {};
    id.toString(digits);
    return digits;
}

RecordingComponent::RecordingComponent(const Vst3ComponentTraits& traits)
    : RecordingHalf("component", traits) {}

void RecordingComponent::keepContext(FUnknown* context) {
    record.componentContext = context;
}

tresult RecordingComponent::getControllerClassId(TUID classId) {
    const tresult answer = answerTo("getControllerClassId");
    const tresult known = Vst3Component::getControllerClassId(classId);
    return answer == kResultOk ? known : answer;
}

tresult RecordingComponent::getBusInfo(Vst::MediaType media, Vst::BusDirection direction,
                                       Steinberg::int32 index, Vst::BusInfo& info) {
    const tresult known = Vst3Component::getBusInfo(media, direction, index, info);
    return record.toldAnswerTo("component getBusInfo " + busName(media, direction, index)).value_or(known);
}

tresult RecordingComponent::activateBus(Vst::MediaType media, Vst::BusDirection direction,
                                        Steinberg::int32 index, Steinberg::TBool state) {
    return answerTo("activateBus " + busName(media, direction, index) + onOff(state));
}

tresult RecordingComponent::setActive(Steinberg::TBool state) {
    return answerTo("setActive" + onOff(state));
}

tresult RecordingComponent::setState(Steinberg::IBStream* state) {
    const tresult answer = answerTo("setState");
    return answer == kResultOk ? Vst3Component::setState(state) : answer;
}

tresult RecordingComponent::getState(Steinberg::IBStream* state) {
    const tresult answer = answerTo("getState");
    return answer == kResultOk ? Vst3Component::getState(state) : answer;
}

tresult RecordingComponent::setBusArrangements(Vst::SpeakerArrangement* inputs, Steinberg::int32 inputCount,
                                               Vst::SpeakerArrangement* outputs,
                                               Steinberg::int32 outputCount) {
    const bool areThere = inputs != nullptr && outputs != nullptr;
    return answerTo(
        "setBusArrangements " +
        (areThere ? listOf(inputs, inputCount) + ", " + listOf(outputs, outputCount) : "of null"));
}

tresult RecordingComponent::getBusArrangement(Vst::BusDirection direction, Steinberg::int32 index,
                                              Vst::SpeakerArrangement& arrangement) {
    const tresult answer =
        answerTo("getBusArrangement " + std::string(directionNames[direction]) + " " + std::to_string(index));
    const tresult known = Vst3Component::getBusArrangement(direction, index, arrangement);
    return answer == kResultOk ? known : answer;
}

tresult RecordingComponent::setupProcessing(Vst::ProcessSetup& newSetup) {
    std::ostringstream call;
    call << "setupProcessing mode " << newSetup.processMode << ", sample size " << newSetup.symbolicSampleSize
         << ", " << newSetup.maxSamplesPerBlock << " frames, " << newSetup.sampleRate << " Hz";
    const tresult answer = answerTo(call.str());
    return answer == kResultOk ? Vst3Component::setupProcessing(newSetup) : answer;
}

tresult RecordingComponent::setProcessing(Steinberg::TBool state) {
    return answerTo("setProcessing" + onOff(state));
}

Steinberg::uint32 RecordingComponent::getLatencySamples() {
    return static_cast<Steinberg::uint32>(record.toldAnswerTo("component getLatencySamples").value_or(0));
}

void RecordingComponent::render(Vst::ProcessData& data) {
    if (record.onProcess)
        record.onProcess(data);
}

tresult RecordingFactory::createInstance(FIDString classId, FIDString identifier, void** result) {
    std::string name = "unknown class";
    for (const Vst3Class& entry : classes) {
        if (FUID::fromTUID(classId) == entry.id)
            name = entry.name;
    }
    const tresult answer =
        moduleRecord()->answerTo("factory createInstance " + name + ", " + interfaceName(identifier));
    *result = nullptr;
    if (!moduleRecord()->factoryMakesObjects)
        return answer;
    const tresult made = Vst3Factory::createInstance(classId, identifier, result);
    return answer == kResultOk ? made : answer;
}
