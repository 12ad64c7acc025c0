#include "vst2/Vst2PluginInstance.h"

#include "core/Log.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginText.h"
#include "vst2/Vst2PluginApi.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t nameSize = 128; // bytes of the buffers for an effect's own texts

constexpr const char* categoryNames[] = {
    "Unknown",        "Effect",   "Synth",       "Analysis", "Mastering", "Spacializer",
    "Delay / Reverb", "Surround", "Restoration", "Offline",  "Shell",     "Generator",
};

constexpr size_t gateCount = 64;
CallGate gates[gateCount];
/// Never an instance's address.
const char closedMark = 0;

} // namespace

const VstIntPtr Vst2PluginInstance::closedLink = reinterpret_cast<VstIntPtr>(&closedMark);

Vst2PluginInstance::Vst2PluginInstance(PluginHostContext* host, int32_t instanceId, bool dpiAware,
                                       Vst2Plugin* plugin, int32_t shellPluginId)
    : PluginInstance(host, instanceId, dpiAware), plugin(plugin), shellPluginId(shellPluginId) {}

Vst2PluginInstance::~Vst2PluginInstance() {
    if (block.getState() == ProcessingState::initialised)
        dispatch(effClose);
    effect = nullptr;
}

bool Vst2PluginInstance::prepareForDeletion() {
    if (effect == nullptr)
        return true;
    handler = nullptr;
    // A terminated effect may have been freed; its link has been cleared before.
    if (block.getState() != ProcessingState::terminated) {
        auto self = reinterpret_cast<VstIntPtr>(this);
        std::atomic_ref(effect->resvd1).compare_exchange_strong(self, 0);
    }
    if (!callIsStuck && gateOf(effect).waitForCalls(CallGate::longestWait))
        return true;
    base::core::logError("A call of VST plug-in instance ", instanceId,
                         " doesn't return: the instance is leaked");
    return false;
}

void Vst2PluginInstance::attach(AEffect* newEffect) {
    effect = newEffect;
    block.attach(newEffect);
    vstVersion = dispatch(effGetVstVersion);
    setLink(reinterpret_cast<VstIntPtr>(this));
    isShell = dispatch(effGetPlugCategory) == kPlugCategShell;
}

VstIntPtr Vst2PluginInstance::linkOf(AEffect& effect) {
    return std::atomic_ref(effect.resvd1).load(std::memory_order_acquire);
}

Vst2PluginInstance* Vst2PluginInstance::instanceOf(VstIntPtr link) {
    return reinterpret_cast<Vst2PluginInstance*>(link);
}

CallGate& Vst2PluginInstance::gateOf(const AEffect* effect) {
    // An effect is larger than this.
    constexpr uintptr_t step = 128;
    return gates[reinterpret_cast<uintptr_t>(effect) / step % gateCount];
}

PluginApi* Vst2PluginInstance::getApi() const {
    return &Vst2PluginApi::instance;
}

bool Vst2PluginInstance::isOpen() const {
    return effect != nullptr;
}

void Vst2PluginInstance::activate() {
    switchMains(true);
}

std::vector<int32_t> Vst2PluginInstance::getDeviceTypes() {
    std::vector<int32_t> types;
    if ((effect->flags & effFlagsIsSynth) != 0)
        types.push_back(noteToAudioDevice);
    if (hasAudioInput() && hasAudioOutput())
        types.push_back(audioToAudioDevice);
    if (block.getAbilities().receivesMidi && sendsMidi)
        types.push_back(noteToNoteDevice);
    if (hasAudioInput() && sendsMidi)
        types.push_back(audioToNoteDevice);
    if (types.empty())
        types.push_back(audioToAudioDevice);
    return types;
}

bool Vst2PluginInstance::hasAudioInput() {
    return effect->numInputs > 0;
}

bool Vst2PluginInstance::hasNoteInput() {
    return block.hasNoteInput();
}

bool Vst2PluginInstance::hasAudioOutput() {
    return effect->numOutputs > 0;
}

bool Vst2PluginInstance::hasNoteOutput() {
    return sendsMidi;
}

bool Vst2PluginInstance::hasSysexInput() {
    return block.getAbilities().receivesSysex;
}

bool Vst2PluginInstance::supportsMpe() {
    return canDo("MPE") > 0;
}

bool Vst2PluginInstance::supportsViewDpiScaling() {
    return canDo("supportsViewDpiScaling") == 1;
}

ProcessingState Vst2PluginInstance::getProcessingState() const {
    return block.getState();
}

std::vector<Ref<PluginAudioBus>> Vst2PluginInstance::getInputBuses() {
    return collectBuses(effGetInputProperties, effect->numInputs, "In");
}

std::vector<Ref<PluginAudioBus>> Vst2PluginInstance::getOutputBuses() {
    return collectBuses(effGetOutputProperties, effect->numOutputs, "Out");
}

int32_t Vst2PluginInstance::getInputChannelCount() {
    return effect->numInputs;
}

int32_t Vst2PluginInstance::getOutputChannelCount() {
    return effect->numOutputs;
}

String Vst2PluginInstance::getName() {
    return dispatchedText(effGetEffectName);
}

String Vst2PluginInstance::getVendor() {
    return dispatchedText(effGetVendorString);
}

String Vst2PluginInstance::getIdentifier() {
    char text[40];
    std::snprintf(text, sizeof text, "%x", static_cast<uint32_t>(effect->uniqueID));
    return text;
}

String Vst2PluginInstance::getCategory() {
    const auto category = static_cast<size_t>(dispatch(effGetPlugCategory));
    return category < std::size(categoryNames) ? categoryNames[category] : "Other";
}

String Vst2PluginInstance::getVersion() {
    return String::fromInteger(static_cast<int32_t>(dispatch(effGetVendorVersion)));
}

int32_t Vst2PluginInstance::getLatency() {
    return block.getLatency();
}

void Vst2PluginInstance::initialize() {
    dispatch(effOpen);
    dispatch(effSetSampleRate, 0, 0, nullptr, static_cast<float>(host->sampleRate));
    dispatch(effSetBlockSize, 0, host->blockSize);
    Vst2Block::Abilities abilities;
    abilities.receivesMidi = canDo("receiveVstMidiEvent") == 1;
    sendsMidi = canDo("sendVstMidiEvent") == 1;
    abilities.receivesSysex = canDo("receiveVstSysexEvent") == 1;
    abilities.isGenerator = dispatch(effGetPlugCategory) == kPlugCategGenerator;
    block.prepare(abilities);
    switchMains(true);
    block.setState(ProcessingState::initialised);
}

void Vst2PluginInstance::terminate() {
    closing = true;
    // A report of theirs must not hold the last reference to the instance, on a thread of the plug-in.
    callIsStuck = !gateOf(effect).waitForCalls(CallGate::longestWait);
    if (block.getState() == ProcessingState::processing)
        stopProcessing();
    switchMains(false);
    closeEditor();
    // The latest point: `effClose` may free the effect, and one that stays must not reach a freed instance.
    setLink(closedLink);
    dispatch(effClose);
    block.setState(ProcessingState::terminated);
}

void Vst2PluginInstance::startProcessing() {
    block.startProcessing();
}

void Vst2PluginInstance::stopProcessing() {
    block.stopProcessing();
}

int32_t Vst2PluginInstance::process(int32_t frames, bool keepActive, bool realtime) {
    return block.process(frames, keepActive, realtime);
}

void Vst2PluginInstance::setParameterValue(int32_t index, float value) {
    block.setParameterValue(index, value);
}

int32_t Vst2PluginInstance::getProgramCount() {
    return effect->numPrograms;
}

void Vst2PluginInstance::getProgramName(int32_t index, char* buffer, int32_t size) {
    std::memset(buffer, 0, static_cast<size_t>(size));
    dispatch(effGetProgramNameIndexed, index, 0, buffer);
}

int32_t Vst2PluginInstance::getCurrentProgram() {
    return static_cast<int32_t>(dispatch(effGetProgram));
}

void Vst2PluginInstance::setCurrentProgram(int32_t index) {
    dispatch(effSetProgram, 0, index);
}

void Vst2PluginInstance::getParameterName(int32_t index, char* buffer, int32_t size) {
    VstParameterProperties properties{};
    if (dispatch(effGetParameterProperties, index, 0, &properties) == 1 && properties.label[0] != '\0') {
        const size_t length = strnlen(properties.label, sizeof properties.label);
        std::memset(buffer, 0, static_cast<size_t>(size));
        std::memcpy(buffer, properties.label, std::min(length, static_cast<size_t>(size)));
    } else {
        dispatch(effGetParamName, index, 0, buffer);
    }
}

void Vst2PluginInstance::getParameterDisplay(int32_t index, char* buffer, int32_t) {
    dispatch(effGetParamDisplay, index, 0, buffer);
}

void Vst2PluginInstance::getParameterLabel(int32_t index, char* buffer, int32_t) {
    dispatch(effGetParamLabel, index, 0, buffer);
}

void Vst2PluginInstance::getParameterProperties(int32_t index, ParameterProperties& properties) {
    properties.canBeAutomated = dispatch(effCanBeAutomated, index) != 0;
    properties.isSwitch = false;
    properties.usesIntegerRange = false;
    properties.id = index;
    VstParameterProperties answer{};
    if (dispatch(effGetParameterProperties, index, 0, &answer) != 1)
        return;
    if ((answer.flags & kVstParameterSupportsDisplayIndex) != 0)
        properties.id = answer.displayIndex;
    properties.isSwitch = (answer.flags & kVstParameterIsSwitch) != 0;
    properties.usesIntegerRange = (answer.flags & kVstParameterUsesIntegerMinMax) != 0;
    // Regardless of the flags.
    properties.minInteger = answer.minInteger;
    properties.maxInteger = answer.maxInteger;
    if ((answer.flags & kVstParameterSupportsDisplayCategory) != 0)
        properties.category = pluginText(answer.categoryLabel, sizeof answer.categoryLabel);
}

float Vst2PluginInstance::getParameterValue(int32_t index) {
    return callGetParameter(effect, index);
}

int32_t Vst2PluginInstance::getParameterCount() {
    return effect->numParams;
}

String Vst2PluginInstance::getNoteName(int32_t note) {
    MidiKeyName key{};
    key.thisKeyNumber = note;
    key.thisProgramIndex = std::max(getCurrentProgram(), 0);
    const bool named = dispatch(effGetMidiKeyName, 0, 0, &key) != 0;
    key.keyName[sizeof key.keyName - 1] = '\0';
    // Plug-ins use this text for a key without a name.
    if (!named || std::strcmp(key.keyName, "---") == 0)
        return {};
    return pluginText(key.keyName);
}

void Vst2PluginInstance::idle() {
    PluginInstance::idle();
    if (needsIdle)
        dispatch(effIdle);
    if (window != nullptr)
        dispatch(effEditIdle);
}

VstIntPtr Vst2PluginInstance::parameterAutomated(int32_t index, float value) {
    notifyParameterChanged(index, value);
    return 0;
}

VstIntPtr Vst2PluginInstance::everythingChanged() {
    notifyAllParametersChanged();
    return 1;
}

VstIntPtr Vst2PluginInstance::requestIdle() {
    needsIdle = true;
    return 0;
}

VstIntPtr Vst2PluginInstance::currentProcessLevel() const {
    constexpr VstIntPtr userLevel = 1;
    constexpr VstIntPtr realtimeLevel = 2;
    constexpr VstIntPtr offlineLevel = 4;
    if (host->isMainThread())
        return userLevel;
    return block.isRealtime() ? realtimeLevel : offlineLevel;
}

VstIntPtr Vst2PluginInstance::queryTime() {
    return block.queryTime();
}

VstIntPtr Vst2PluginInstance::receiveEvents(const VstEvents* events) {
    return block.receiveEvents(events);
}

VstIntPtr Vst2PluginInstance::queryInputLatency() const {
    const TransportBlock* transport = audio.getTransport();
    return transport != nullptr ? transport->inputLatency : 0;
}

VstIntPtr Vst2PluginInstance::queryOutputLatency() const {
    const TransportBlock* transport = audio.getTransport();
    return transport != nullptr ? transport->outputLatency : 0;
}

Vst2PluginInstance::DispatcherAnswer Vst2PluginInstance::canDo(const char* ability) const {
    // The interface has a pointer to non-const, and only reads.
    return dispatch(effCanDo, 0, 0, const_cast<char*>(ability));
}

String Vst2PluginInstance::dispatchedText(VstInt32 opcode) const {
    char text[nameSize] = {};
    dispatch(opcode, 0, 0, text);
    return pluginText(text, sizeof text);
}

std::vector<Ref<PluginAudioBus>> Vst2PluginInstance::collectBuses(VstInt32 propertiesOpcode,
                                                                  int32_t channelCount,
                                                                  const char* direction) const {
    std::vector<Ref<PluginAudioBus>> buses;
    const auto addBus = [&](const String& name, int32_t firstChannel, bool stereo) {
        std::vector<int32_t> channels{firstChannel};
        // Oddity stereo-pin-past-end: a stereo pin at the last channel names one past the end.
        if (stereo)
            channels.push_back(firstChannel + 1);
        buses.emplace_back(new PluginAudioBus(name, channels));
    };

    int32_t channel = 0;
    while (channel < channelCount) {
        VstPinProperties pin{};
        if (dispatch(propertiesOpcode, channel, 0, &pin) != 1)
            break;
        const bool stereo = (pin.flags & kVstPinIsStereo) != 0;
        addBus(pluginText(pin.label, sizeof pin.label), channel, stereo);
        channel += stereo ? 2 : 1;
    }

    const int32_t rest = channelCount - channel;
    if (rest == 1) {
        addBus(concat("Mono ", direction), channel, false);
    } else if (rest == 2) {
        addBus(concat("Stereo ", direction), channel, true);
    } else if (rest > 2) {
        // Each channel is in a stereo bus and again in a mono bus; an odd last one only in the latter.
        for (int32_t i = 0; i < rest / 2; ++i)
            addBus(concat("Stereo ", direction, " ", i + 1), channel + 2 * i, true);
        for (int32_t i = 0; i < rest; ++i)
            addBus(concat("Mono ", direction, " ", i + 1), channel + i, false);
    }
    return buses;
}

bool Vst2PluginInstance::dispatchKey(VstInt32 opcode, uint16_t key, int32_t modifiers) const {
    // Bit 0 stays, bits 1 and 3 change places; the key code is dropped.
    const int32_t mapped = (modifiers & 1) | ((modifiers & 8) >> 2) | ((modifiers & 2) << 2);
    return dispatch(opcode, key, 0, nullptr, static_cast<float>(mapped)) != 0;
}

void Vst2PluginInstance::setLink(VstIntPtr link) {
    std::atomic_ref(effect->resvd1).store(link, std::memory_order_release);
}

void Vst2PluginInstance::channelsChanged() {
    block.connectChannels();
}

void Vst2PluginInstance::switchMains(bool on) {
    mainsOn = on;
    dispatch(effMainsChanged, 0, on ? 1 : 0);
}
