#include "vst3/Vst3PluginInstance.h"

#include "core/Log.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginText.h"
#include "plugin/RunLoop.h"
#include "vst3/Vst3Categories.h"
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

// Locations in messages; their double quotes are part of the text.
constexpr const char* setupLocation = "\"Vst3PluginInstance::open()#setupProcessing\"";
constexpr const char* activateBusLocation = "\"Vst3PluginInstance::activateBussesOfType(...)\"";
constexpr const char* openLocation = "\"Vst3PluginInstance::open()\"";

constexpr int32_t noProgram = -1;

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

template <size_t size>
String fixedText(const Steinberg::char8 (&text)[size]) {
    return pluginText(text, size);
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
    // Only the class that the component names is used; the module isn't searched for others.
    TUID controllerId{};
    if (component->getControllerClassId(controllerId) == kResultOk &&
        FUID::fromTUID(controllerId).isValid()) {
        singleComponent = false;
        setController(createObject<Vst::IEditController>(*plugin->factory, controllerId));
        if (controller) {
            // Oddity controller-initialize-result-ignored: a controller that fails here is used all the same.
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
    block.setState(ProcessingState::initialised);
}

void Vst3PluginInstance::adoptBusArrangements() {
    std::vector<Vst::SpeakerArrangement> inputs = collectArrangements(Vst::kInput);
    std::vector<Vst::SpeakerArrangement> outputs = collectArrangements(Vst::kOutput);
    const auto inputCount = static_cast<int32_t>(inputs.size());
    const auto outputCount = static_cast<int32_t>(outputs.size());
    // So that `data` isn't null without buses.
    inputs.push_back(Vst::SpeakerArr::kEmpty);
    outputs.push_back(Vst::SpeakerArr::kEmpty);
    processor->setBusArrangements(inputs.data(), inputCount, outputs.data(), outputCount);
}

std::vector<Vst::SpeakerArrangement>
Vst3PluginInstance::collectArrangements(Vst::BusDirection direction) const {
    std::vector<Vst::SpeakerArrangement> arrangements;
    const int32_t count = buses.count(Vst::kAudio, direction);
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
    for (int32_t i = buses.count(type, direction) - 1; i >= 0; --i)
        throwUnlessOk(component->activateBus(type, direction, i, true), activateBusLocation);
}

void Vst3PluginInstance::terminate() {
    closing = true;
    if (block.getState() == ProcessingState::processing)
        stopProcessing();
    closeEditor();
    block.setState(ProcessingState::terminated);
    if (!endCalls())
        base::core::retain(this);
    PluginInstance::host->getRunLoop().removeAll(this);
}

void Vst3PluginInstance::startProcessing() {
    block.startProcessing();
}

void Vst3PluginInstance::stopProcessing() {
    block.stopProcessing();
}

int32_t Vst3PluginInstance::process(int32_t frames, bool keepActive, bool realtime) {
    return block.process(frames, keepActive, realtime);
}

ProcessingState Vst3PluginInstance::getProcessingState() const {
    return block.getState();
}

String Vst3PluginInstance::getFormatVersion() {
    return "3";
}

bool Vst3PluginInstance::hasAudioInput() {
    return buses.count(Vst::kAudio, Vst::kInput) > 0;
}

bool Vst3PluginInstance::hasNoteInput() {
    return block.hasNoteInput();
}

bool Vst3PluginInstance::hasAudioOutput() {
    return buses.count(Vst::kAudio, Vst::kOutput) > 0;
}

bool Vst3PluginInstance::hasNoteOutput() {
    return block.hasNoteOutput();
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
    return block.getLatency();
}

int32_t Vst3PluginInstance::getInputChannelCount() {
    return buses.countChannels(Vst::kInput);
}

int32_t Vst3PluginInstance::getOutputChannelCount() {
    return buses.countChannels(Vst::kOutput);
}

std::vector<Ref<PluginAudioBus>> Vst3PluginInstance::collectBuses(Vst::BusDirection direction) const {
    std::vector<Ref<PluginAudioBus>> collected;
    int32_t channelStart = 0;
    const int32_t count = buses.count(Vst::kAudio, direction);
    for (int32_t i = 0; i < count; ++i) {
        const Vst::BusInfo info = buses.get(direction, i);
        std::vector<int32_t> channels(static_cast<size_t>(std::max(info.channelCount, 0)));
        std::iota(channels.begin(), channels.end(), channelStart);
        channelStart += info.channelCount;
        collected.push_back(new PluginAudioBus(pluginText(info.name), channels));
    }
    return collected;
}

std::vector<Ref<PluginAudioBus>> Vst3PluginInstance::getInputBuses() {
    return collectBuses(Vst::kInput);
}

std::vector<Ref<PluginAudioBus>> Vst3PluginInstance::getOutputBuses() {
    return collectBuses(Vst::kOutput);
}

int32_t Vst3PluginInstance::getParameterCount() {
    return parameters.getCount();
}

void Vst3PluginInstance::getParameterName(int32_t index, char* buffer, int32_t size) {
    if (Vst::ParameterInfo info; parameters.read(index, info))
        copyPluginText(info.title, buffer, size);
}

void Vst3PluginInstance::getParameterLabel(int32_t index, char* buffer, int32_t size) {
    if (Vst::ParameterInfo info; parameters.read(index, info))
        copyPluginText(info.units, buffer, size);
}

void Vst3PluginInstance::getParameterDisplay(int32_t index, char* buffer, int32_t size) {
    Vst::ParameterInfo info;
    if (!parameters.read(index, info))
        return;
    Vst::String128 text = {};
    const double value = parameters.getValue(info.id);
    if (controller->getParamStringByValue(info.id, value, text) == kResultOk)
        copyPluginText(text, buffer, size);
}

float Vst3PluginInstance::getParameterValue(int32_t index) {
    Vst::ParameterInfo info;
    return parameters.read(index, info) ? static_cast<float>(parameters.getValue(info.id)) : 0.0F;
}

void Vst3PluginInstance::getParameterProperties(int32_t index, ParameterProperties& properties) {
    Vst::ParameterInfo info;
    if (!parameters.read(index, info))
        return;
    properties.canBeAutomated = (info.flags & Vst::ParameterInfo::kCanAutomate) != 0;
    // The index, not the plug-in's id: the client identifies parameters by index alone.
    properties.id = index;
    properties.usesIntegerRange = info.stepCount > 1;
    properties.isSwitch = info.stepCount == 1;
    properties.minInteger = 0;
    properties.maxInteger = info.stepCount;
    properties.shortName = pluginText(info.shortTitle);
}

void Vst3PluginInstance::setParameterValue(int32_t index, float value) {
    block.setParameterValue(index, value);
}

String Vst3PluginInstance::getNoteName(int32_t) {
    return {};
}

String Vst3PluginInstance::getIdentifier() {
    return classIdText(classId);
}

// For a class that the module doesn't list, the lookups below add an empty record and use it.

String Vst3PluginInstance::getName() {
    return fixedText(plugin->classInfos[classIdText(classId)].name);
}

String Vst3PluginInstance::getVendor() {
    Steinberg::PFactoryInfo info{};
    plugin->factory->getFactoryInfo(&info);
    return fixedText(info.vendor);
}

String Vst3PluginInstance::getVersion() {
    return plugin->factory2 ? fixedText(plugin->classInfos2[classIdText(classId)].version) : String();
}

String Vst3PluginInstance::getSubcategories() const {
    return plugin->factory2 ? fixedText(plugin->classInfos2[classIdText(classId)].subCategories) : String();
}

String Vst3PluginInstance::getCategory() {
    return categoryOf(getSubcategories());
}

std::vector<int32_t> Vst3PluginInstance::getDeviceTypes() {
    return deviceTypesOf(getSubcategories(), buses);
}

void Vst3PluginInstance::findProgramParameter() {
    programs.find(unitInfo);
}

int32_t Vst3PluginInstance::getProgramCount() {
    return programs.getCount();
}

int32_t Vst3PluginInstance::getCurrentProgram() {
    return noProgram;
}

void Vst3PluginInstance::getProgramName(int32_t index, char* buffer, int32_t size) {
    buffer[0] = 0;
    if (programs.getListId() == Vst::kNoProgramListId)
        return;
    Vst::String128 text = {};
    unitInfo->getProgramName(programs.getListId(), index, text);
    copyPluginText(text, buffer, size);
}

void Vst3PluginInstance::setCurrentProgram(int32_t index) {
    setCurrentProgram(index, 0);
}

void Vst3PluginInstance::setCurrentProgram(int32_t index, int32_t sampleOffset) {
    block.selectProgram(index, sampleOffset);
}
