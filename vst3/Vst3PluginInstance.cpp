#include "vst3/Vst3PluginInstance.h"

#include "core/Log.h"
#include "plugin/PluginHostContext.h"
#include "vst3/Vst3Plugin.h"
#include "vst3/Vst3PluginApi.h"
#include "vst3/Vst3Result.h"
#include "vst3/Vst3Text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <public.sdk/source/common/memorystream.h>

static_assert(sizeof(Steinberg::PClassInfo) == 116);
static_assert(sizeof(Steinberg::PClassInfo2) == 440);
static_assert(sizeof(Steinberg::PFactoryInfo) == 452);
static_assert(sizeof(Vst::ParameterInfo) == 792);

namespace {

// Places in messages; their double quotes are part of the text.
constexpr const char* setupLocation = "\"Vst3PluginInstance::open()#setupProcessing\"";
constexpr const char* activateBusLocation = "\"Vst3PluginInstance::activateBussesOfType(...)\"";
constexpr const char* openLocation = "\"Vst3PluginInstance::open()\"";
constexpr const char* busLocation = "\"Vst3PluginInstance::getBus(...)\"";

constexpr std::array<Vst::SpeakerArrangement, 11> acceptedArrangements{
    0,   0x3,  0x80000,                                                // empty, stereo, mono
    0xC, 0x30, 0xC0,    0x600, 0x5000, 0x28000, 0x3000000, 0x50000000, // two speakers each
};

/// An interface of a new object of the factory's, null if the factory fails.
template <class Interface>
IPtr<Interface> createObject(Steinberg::IPluginFactory& factory, const char* classId) {
    void* object = nullptr;
    const tresult result = factory.createInstance(classId, Interface::iid, &object);
    const IPtr<Interface> created = Steinberg::owned(static_cast<Interface*>(object));
    return result == kResultOk ? created : IPtr<Interface>();
}

} // namespace

Vst3PluginInstance::Vst3PluginInstance(PluginHostContext* host, Vst3Plugin* plugin, int32_t instanceId,
                                       const String& identifier, bool dpiAware)
    : PluginInstance(host, instanceId, dpiAware), plugin(plugin), host(new Vst3Host(this)),
      classId(parseClassId(identifier)) {}

Vst3PluginInstance::~Vst3PluginInstance() = default;

bool Vst3PluginInstance::prepareForDeletion() {
    return endCalls();
}

bool Vst3PluginInstance::endCalls() {
    if (host->detach())
        return true;
    base::core::logError("A call of VST plug-in instance ", instanceId,
                         " doesn't return: the instance is leaked");
    return false;
}

void Vst3PluginInstance::createComponents() {
    releaseComponents();
    if (!makeComponent())
        return;
    if (!makeController())
        return;
    controller2 = interfaceOf<Vst::IEditController2>(controller);
    midiMapping = interfaceOf<Vst::IMidiMapping>(controller);
    noteExpressionController = interfaceOf<Vst::INoteExpressionController>(controller);
    findProgramParameter();
    controller->setComponentHandler(host->getComponentHandler());
    connectController();
    handStateToController();
}

void Vst3PluginInstance::releaseComponents() {
    controllerConnection = nullptr;
    componentConnection = nullptr;
    midiMapping = nullptr;
    noteExpressionController = nullptr;
    programListData = nullptr;
    unitData = nullptr;
    processor = nullptr;
    controller2 = nullptr;
    setController(nullptr);
    component = nullptr;
}

bool Vst3PluginInstance::makeComponent() {
    component = createObject<Vst::IComponent>(*plugin->factory, classId.toTUID());
    if (!component)
        return false;
    if (component->initialize(host->getContext()) != kResultOk) {
        component = nullptr;
        return false;
    }
    processor = checkedInterfaceOf<Vst::IAudioProcessor>(component);
    unitData = interfaceOf<Vst::IUnitData>(component);
    programListData = interfaceOf<Vst::IProgramListData>(component);
    return true;
}

bool Vst3PluginInstance::makeController() {
    // A module's controller classes are never searched for one: what the component names is used alone.
    TUID controllerId{};
    if (component->getControllerClassId(controllerId) == kResultOk &&
        FUID::fromTUID(controllerId).isValid()) {
        singleComponent = false;
        setController(createObject<Vst::IEditController>(*plugin->factory, controllerId));
        if (controller) {
            // What it answers is ignored, deliberately: such controllers work all the same.
            controller->initialize(host->getContext());
            return true;
        }
    }
    singleComponent = true;
    setController(interfaceOf<Vst::IEditController>(processor));
    if (!controller)
        setController(interfaceOf<Vst::IEditController>(component));
    return controller.get() != nullptr;
}

void Vst3PluginInstance::setController(const IPtr<Vst::IEditController>& newController) {
    controller = newController;
    publishedController = newController.get();
}

void Vst3PluginInstance::connectController() {
    componentConnection = checkedInterfaceOf<Vst::IConnectionPoint>(component);
    if (!componentConnection)
        return;
    controllerConnection = checkedInterfaceOf<Vst::IConnectionPoint>(controller);
    if (!controllerConnection)
        return;
    // A single component is connected to itself.
    componentConnection->connect(controllerConnection);
    controllerConnection->connect(componentConnection);
}

void Vst3PluginInstance::handStateToController() {
    const IPtr<Steinberg::MemoryStream> stream = Steinberg::owned(new Steinberg::MemoryStream);
    if (component->getState(stream) != kResultOk)
        return;
    stream->seek(0, Steinberg::IBStream::kIBSeekSet, nullptr);
    controller->setComponentState(stream);
}

PluginApi* Vst3PluginInstance::getApi() const {
    return &Vst3PluginApi::instance;
}

bool Vst3PluginInstance::isOpen() const {
    return component.get() != nullptr;
}

void Vst3PluginInstance::activate() {}

void Vst3PluginInstance::initialize() {
    if (component && processor) {
        Vst::ProcessSetup setup{};
        setup.processMode = setupRealtime ? Vst::kRealtime : Vst::kOffline;
        setup.symbolicSampleSize = Vst::kSample32;
        setup.maxSamplesPerBlock = PluginInstance::host->blockSize;
        setup.sampleRate = PluginInstance::host->sampleRate;
        throwUnlessOk(processor->setupProcessing(setup), setupLocation);
        adoptBusArrangements();
        activateBusses(Vst::kAudio, Vst::kInput);
        activateBusses(Vst::kEvent, Vst::kInput);
        activateBusses(Vst::kAudio, Vst::kOutput);
        activateBusses(Vst::kEvent, Vst::kOutput);
        throwUnlessOk(component->setActive(true), openLocation);
    }
    processingState = ProcessingState::initialised;
}

void Vst3PluginInstance::adoptBusArrangements() {
    std::vector<Vst::SpeakerArrangement> inputs = collectArrangements(Vst::kInput);
    std::vector<Vst::SpeakerArrangement> outputs = collectArrangements(Vst::kOutput);
    const auto inputCount = static_cast<int32_t>(inputs.size());
    const auto outputCount = static_cast<int32_t>(outputs.size());
    // The pointers are valid also where there is nothing to point to.
    inputs.push_back(Vst::SpeakerArr::kEmpty);
    outputs.push_back(Vst::SpeakerArr::kEmpty);
    processor->setBusArrangements(inputs.data(), inputCount, outputs.data(), outputCount);
}

std::vector<Vst::SpeakerArrangement>
Vst3PluginInstance::collectArrangements(Vst::BusDirection direction) const {
    std::vector<Vst::SpeakerArrangement> arrangements;
    const int32_t count = countBuses(Vst::kAudio, direction);
    for (int32_t i = 0; i < count; ++i) {
        Vst::SpeakerArrangement arrangement = Vst::SpeakerArr::kEmpty;
        processor->getBusArrangement(direction, i, arrangement);
        const bool isAccepted = std::find(acceptedArrangements.begin(), acceptedArrangements.end(),
                                          arrangement) != acceptedArrangements.end();
        arrangements.push_back(isAccepted ? arrangement : Vst::SpeakerArr::kStereo);
    }
    return arrangements;
}

void Vst3PluginInstance::activateBusses(Vst::MediaType type, Vst::BusDirection direction) {
    for (int32_t i = countBuses(type, direction) - 1; i >= 0; --i)
        throwUnlessOk(component->activateBus(type, direction, i, true), activateBusLocation);
}

void Vst3PluginInstance::terminate() {
    closing = true;
    if (processingState == ProcessingState::processing)
        stopProcessing();
    closeEditor();
    processingState = ProcessingState::terminated;
    if (!endCalls())
        base::core::retain(this);
}

void Vst3PluginInstance::startProcessing() {
    if (processor)
        processor->setProcessing(true);
    processingState = ProcessingState::processing;
}

void Vst3PluginInstance::stopProcessing() {
    if (processor)
        processor->setProcessing(false);
    processingState = ProcessingState::initialised;
}

ProcessingState Vst3PluginInstance::getProcessingState() const {
    return processingState;
}

String Vst3PluginInstance::getFormatVersion() {
    return "3";
}

bool Vst3PluginInstance::hasAudioInput() {
    return countBuses(Vst::kAudio, Vst::kInput) > 0;
}

bool Vst3PluginInstance::hasNoteInput() {
    return countBuses(Vst::kEvent, Vst::kInput) > 0;
}

bool Vst3PluginInstance::hasAudioOutput() {
    return countBuses(Vst::kAudio, Vst::kOutput) > 0;
}

bool Vst3PluginInstance::hasNoteOutput() {
    return countBuses(Vst::kEvent, Vst::kOutput) > 0;
}

bool Vst3PluginInstance::hasSysexInput() {
    return false;
}

bool Vst3PluginInstance::supportsMpe() {
    return false;
}

bool Vst3PluginInstance::hasMidiControllerMapping() {
    constexpr std::array types{Vst::kVolumeTypeID, Vst::kPanTypeID, Vst::kTuningTypeID,
                               Vst::kBrightnessTypeID};
    return std::any_of(types.begin(), types.end(),
                       [this](Vst::NoteExpressionTypeID type) { return hasNoteExpression(0, 0, type); });
}

bool Vst3PluginInstance::hasNoteExpression(int32_t busIndex, int16_t channel,
                                           Vst::NoteExpressionTypeID typeId) {
    if (!noteExpressionController)
        return false;
    const int32_t count = noteExpressionController->getNoteExpressionCount(busIndex, channel);
    for (int32_t i = 0; i < count; ++i) {
        Vst::NoteExpressionTypeInfo info{};
        if (noteExpressionController->getNoteExpressionInfo(busIndex, channel, i, info) == kResultOk &&
            info.typeId == typeId)
            return true;
    }
    return false;
}

int32_t Vst3PluginInstance::getLatency() {
    if (!processor)
        return 0;
    constexpr float greatest = 2147483520.0F; // that an int32 holds
    const auto latency = static_cast<float>(static_cast<int32_t>(processor->getLatencySamples()));
    return static_cast<int32_t>(std::clamp(latency, 0.0F, greatest));
}

int32_t Vst3PluginInstance::countBuses(Vst::MediaType type, Vst::BusDirection direction) const {
    return component ? component->getBusCount(type, direction) : 0;
}

int32_t Vst3PluginInstance::countMainBuses(Vst::MediaType type, Vst::BusDirection direction) const {
    int32_t mainBuses = 0;
    const int32_t count = countBuses(type, direction);
    for (int32_t i = 0; i < count; ++i) {
        Vst::BusInfo info{};
        if (component->getBusInfo(type, direction, i, info) == kResultOk && info.busType == Vst::kMain)
            ++mainBuses;
    }
    return mainBuses;
}

int32_t Vst3PluginInstance::countChannels(Vst::BusDirection direction) const {
    int32_t channels = 0;
    for (int32_t i = countBuses(Vst::kAudio, direction) - 1; i >= 0; --i) {
        Vst::BusInfo info{};
        if (component->getBusInfo(Vst::kAudio, direction, i, info) == kResultOk)
            channels += info.channelCount;
    }
    return channels;
}

int32_t Vst3PluginInstance::getInputChannelCount() {
    return countChannels(Vst::kInput);
}

int32_t Vst3PluginInstance::getOutputChannelCount() {
    return countChannels(Vst::kOutput);
}

Vst::BusInfo Vst3PluginInstance::getBus(Vst::BusDirection direction, int32_t index) const {
    Vst::BusInfo info{};
    throwUnlessOk(component->getBusInfo(Vst::kAudio, direction, index, info), busLocation);
    return info;
}

std::vector<Ref<PluginAudioBus>> Vst3PluginInstance::collectBuses(Vst::BusDirection direction) const {
    std::vector<Ref<PluginAudioBus>> buses;
    int32_t channelStart = 0;
    const int32_t count = countBuses(Vst::kAudio, direction);
    for (int32_t i = 0; i < count; ++i) {
        const Vst::BusInfo info = getBus(direction, i);
        std::vector<int32_t> channels(static_cast<size_t>(std::max(info.channelCount, 0)));
        std::iota(channels.begin(), channels.end(), channelStart);
        channelStart += info.channelCount;
        buses.push_back(new PluginAudioBus(pluginText(info.name), channels));
    }
    return buses;
}

std::vector<Ref<PluginAudioBus>> Vst3PluginInstance::getInputBuses() {
    return collectBuses(Vst::kInput);
}

std::vector<Ref<PluginAudioBus>> Vst3PluginInstance::getOutputBuses() {
    return collectBuses(Vst::kOutput);
}
