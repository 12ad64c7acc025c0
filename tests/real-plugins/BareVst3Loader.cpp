// What BareLoader.cpp is to VST 2, for a VST 3 module: the smallest program that can play one, sharing no
// code with the host. It takes the module itself, whatever bundle that is in, and says the same line.

#include "real-plugins/BareRun.h"
#include "real-plugins/BareVst3Host.h"
#include "real-plugins/BareWindow.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <vector>

#include <dlfcn.h>
#include <pluginterfaces/base/ipluginbase.h>
#include <pluginterfaces/gui/iplugview.h>
#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivstcomponent.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstmessage.h>
#include <pluginterfaces/vst/ivstprocesscontext.h>
#include <public.sdk/source/common/memorystream.h>

namespace Vst = Steinberg::Vst;

using bare::Buses;
using bare::Changes;
using bare::check;
using bare::Events;
using bare::fail;
using bare::stage;
using bare::Task;
using score::blocks;
using score::blockSize;
using score::sampleRate;
using Steinberg::FUnknown;
using Steinberg::int32;
using Steinberg::kResultOk;
using Steinberg::TUID;
using Steinberg::uint32;

namespace {

bare::HandlerOfEdits handlerOfEdits;
bare::Application application;

template <class Interface>
Interface* ask(FUnknown* object) {
    void* found = nullptr;
    if (object == nullptr || object->queryInterface(Interface::iid, &found) != kResultOk) {
        return nullptr;
    }
    return static_cast<Interface*>(found);
}

template <class Interface>
Interface* make(Steinberg::IPluginFactory& factory, const TUID classId) {
    void* made = nullptr;
    stage = "createInstance";
    if (factory.createInstance(classId, Interface::iid, &made) != kResultOk) {
        return nullptr;
    }
    return static_cast<Interface*>(made);
}

/// A module's first audio class.
class Plugin {
public:
    explicit Plugin(Steinberg::IPluginFactory& factory) {
        TUID classId;
        findClass(factory, classId);
        component = make<Vst::IComponent>(factory, classId);
        if (component == nullptr) {
            fail("made no component");
        }
        check("initialize of the component", component->initialize(&application));
        processor = ask<Vst::IAudioProcessor>(component);
        if (processor == nullptr) {
            fail("has no processor");
        }
        makeController(factory);
        connect();
        readParameters();
    }

    bare::Findings play(Task task) {
        Buses inputs(*component, Vst::kInput);
        Buses outputs(*component, Vst::kOutput);
        takesNotes = component->getBusCount(Vst::kEvent, Vst::kInput) > 0;
        setUp();
        const float peak = render(inputs, outputs, task == Task::varyParameters);
        std::vector<std::int32_t> lost;
        if (task == Task::restoreState && controller != nullptr) {
            lost = restoreState();
        } else if (task == Task::openEditor) {
            openEditor();
        }
        stage = "setProcessing false";
        processor->setProcessing(false);
        check("setActive false", component->setActive(false));
        return {"GetPluginFactory",
                inputs.countChannels(),
                outputs.countChannels(),
                static_cast<int32>(ids.size()),
                0,
                takesNotes,
                peak,
                lost};
    }

    void end() {
        stage = "disconnect";
        if (componentLine != nullptr && controllerLine != nullptr) {
            componentLine->disconnect(controllerLine);
            controllerLine->disconnect(componentLine);
        }
        stage = "terminate";
        if (isSeparate) {
            controller->terminate();
        }
        component->terminate();
        stage = "release";
        for (FUnknown* object : std::initializer_list<FUnknown*>{controllerLine, componentLine, controller,
                                                                 processor, component}) {
            if (object != nullptr) {
                object->release();
            }
        }
    }

private:
    static void findClass(Steinberg::IPluginFactory& factory, TUID classId) {
        stage = "getClassInfo";
        for (int32 index = 0; index < factory.countClasses(); ++index) {
            Steinberg::PClassInfo info{};
            check("getClassInfo", factory.getClassInfo(index, &info));
            if (std::strcmp(info.category, kVstAudioEffectClass) == 0) {
                std::memcpy(classId, info.cid, sizeof(TUID));
                return;
            }
        }
        fail("no audio class");
    }

    void makeController(Steinberg::IPluginFactory& factory) {
        TUID classId{};
        stage = "getControllerClassId";
        if (component->getControllerClassId(classId) == kResultOk) {
            controller = make<Vst::IEditController>(factory, classId);
        }
        isSeparate = controller != nullptr;
        if (isSeparate) {
            check("initialize of the controller", controller->initialize(&application));
        } else {
            controller = ask<Vst::IEditController>(component);
        }
    }

    void connect() {
        if (controller == nullptr) {
            return;
        }
        stage = "setComponentHandler";
        controller->setComponentHandler(&handlerOfEdits);
        stage = "connect";
        componentLine = ask<Vst::IConnectionPoint>(component);
        controllerLine = ask<Vst::IConnectionPoint>(controller);
        if (componentLine != nullptr && controllerLine != nullptr) {
            componentLine->connect(controllerLine);
            controllerLine->connect(componentLine);
        }
        stage = "getState";
        Steinberg::MemoryStream state;
        if (component->getState(&state) == kResultOk) {
            state.seek(0, Steinberg::IBStream::kIBSeekSet, nullptr);
            stage = "setComponentState";
            controller->setComponentState(&state);
        }
    }

    void readParameters() {
        const int32 count = controller != nullptr ? controller->getParameterCount() : 0;
        for (int32 index = 0; index < count; ++index) {
            Vst::ParameterInfo info{};
            check("getParameterInfo", controller->getParameterInfo(index, info));
            stage = "getParamNormalized";
            const double value = controller->getParamNormalized(info.id);
            if (std::isnan(value)) {
                fail("NaN as a parameter");
            }
            stage = "getParamStringByValue";
            Vst::String128 text{};
            controller->getParamStringByValue(info.id, value, text);
            ids.push_back(info.id);
        }
    }

    void setUp() {
        Vst::ProcessSetup setup{Vst::kRealtime, Vst::kSample32, blockSize, sampleRate};
        check("setupProcessing", processor->setupProcessing(setup));
        std::vector<Vst::SpeakerArrangement> inputs = readArrangements(Vst::kInput);
        std::vector<Vst::SpeakerArrangement> outputs = readArrangements(Vst::kOutput);
        stage = "setBusArrangements";
        processor->setBusArrangements(inputs.data(), static_cast<int32>(inputs.size() - 1), outputs.data(),
                                      static_cast<int32>(outputs.size() - 1));
        for (const Vst::MediaType media : {Vst::kAudio, Vst::kEvent}) {
            for (const Vst::BusDirection direction : {Vst::kInput, Vst::kOutput}) {
                for (int32 index = 0; index < component->getBusCount(media, direction); ++index) {
                    check("activateBus", component->activateBus(media, direction, index, true));
                }
            }
        }
        check("setActive", component->setActive(true));
        stage = "setProcessing";
        processor->setProcessing(true);
    }

    /// With one entry more than there are buses, so that the array is there.
    std::vector<Vst::SpeakerArrangement> readArrangements(Vst::BusDirection direction) {
        std::vector<Vst::SpeakerArrangement> found;
        stage = "getBusArrangement";
        for (int32 index = 0; index < component->getBusCount(Vst::kAudio, direction); ++index) {
            processor->getBusArrangement(direction, index, found.emplace_back());
        }
        found.emplace_back();
        return found;
    }

    /// Renders the blocks; the largest magnitude that came out.
    float render(Buses& inputs, Buses& outputs, bool vary) {
        Vst::ProcessContext time{};
        Vst::ProcessData data;
        data.processMode = Vst::kRealtime;
        data.symbolicSampleSize = Vst::kSample32;
        data.numSamples = blockSize;
        data.numInputs = inputs.count();
        data.numOutputs = outputs.count();
        data.inputs = inputs.buffers.data();
        data.outputs = outputs.buffers.data();
        data.inputParameterChanges = &changes;
        data.outputParameterChanges = &playedChanges;
        data.inputEvents = takesNotes ? &events : nullptr;
        data.outputEvents = component->getBusCount(Vst::kEvent, Vst::kOutput) > 0 ? &playedEvents : nullptr;
        data.processContext = &time;
        float peak = 0.0F;
        for (int block = 0; block < blocks; ++block) {
            time = {};
            time.sampleRate = sampleRate;
            changes.clear();
            events.clear();
            playedEvents.clear();
            if (vary) {
                varyBefore(time, block);
            } else if (block == 0) {
                addNote({0x90, 60, 100});
            }
            inputs.channels.fill([block](std::int32_t frame) { return score::inputAt(block, frame); });
            outputs.channels.fill([](std::int32_t) { return 0.0F; });
            check("process", processor->process(data));
            inputs.channels.check("wrote outside of its inputs");
            outputs.channels.check("wrote outside of its outputs");
            peak = std::max(peak, outputs.channels.peak());
        }
        return peak;
    }

    void openEditor() {
        stage = "createView";
        Steinberg::IPlugView* view =
            controller != nullptr ? controller->createView(Vst::ViewType::kEditor) : nullptr;
        if (view == nullptr) {
            fail("has no editor");
        }
        check("isPlatformTypeSupported",
              view->isPlatformTypeSupported(Steinberg::kPlatformTypeX11EmbedWindowID));
        Steinberg::ViewRect size(0, 0, 640, 480);
        stage = "getSize";
        view->getSize(&size);
        bare::Window window(size.getWidth(), size.getHeight());
        bare::Frame frame(window);
        stage = "setFrame";
        view->setFrame(&frame);
        check("attached", view->attached(reinterpret_cast<void*>(static_cast<uintptr_t>(window.getId())),
                                         Steinberg::kPlatformTypeX11EmbedWindowID));
        window.show([] {});
        check("removed", view->removed());
        stage = "setFrame null";
        view->setFrame(nullptr);
        stage = "release of the view";
        view->release();
    }

    std::vector<float> readValues() {
        std::vector<float> values;
        stage = "getParamNormalized";
        for (const Vst::ParamID id : ids) {
            values.push_back(static_cast<float>(controller->getParamNormalized(id)));
        }
        return values;
    }

    /// Takes the states of both halves, changes all parameters in both and gives the states back. Returns
    /// what was lost.
    std::vector<std::int32_t> restoreState() {
        Steinberg::MemoryStream componentState;
        Steinberg::MemoryStream controllerState;
        check("getState of the component", component->getState(&componentState));
        stage = "getState of the controller";
        controller->getState(&controllerState);
        const std::vector<float> before = readValues();
        for (std::size_t index = 0; index < ids.size(); ++index) {
            changeBetweenBlocks(ids[index], bare::otherValue(before[index]));
        }
        const auto fromStart = [](Steinberg::MemoryStream& state) {
            state.seek(0, Steinberg::IBStream::kIBSeekSet, nullptr);
            return &state;
        };
        stage = "setState of the component";
        // The controller hears nothing of a state that was refused.
        if (component->setState(fromStart(componentState)) == kResultOk) {
            stage = "setComponentState";
            controller->setComponentState(fromStart(componentState));
            stage = "setState of the controller";
            controller->setState(fromStart(controllerState));
        }
        return bare::findLost(before, readValues());
    }

    /// By a block of no frames, which is how a processor is told between blocks.
    void changeBetweenBlocks(Vst::ParamID id, float value) {
        changes.clear();
        changes.set(id, value);
        Vst::ProcessData data;
        data.processMode = Vst::kRealtime;
        data.symbolicSampleSize = Vst::kSample32;
        data.inputParameterChanges = &changes;
        data.outputParameterChanges = &playedChanges;
        check("process of no frames", processor->process(data));
        stage = "setParamNormalized";
        controller->setParamNormalized(id, value);
    }

    /// What --vary adds before a block.
    void varyBefore(Vst::ProcessContext& time, int block) {
        const score::Transport now = score::transportAt(block);
        time.projectTimeSamples = now.samplePosition;
        time.systemTime = static_cast<Steinberg::int64>(now.nanoseconds);
        time.projectTimeMusic = now.position;
        time.tempo = now.tempo;
        time.timeSigNumerator = now.numerator;
        time.timeSigDenominator = now.denominator;
        time.cycleEndMusic = now.loopEnd;
        using Time = Vst::ProcessContext;
        time.state = Time::kProjectTimeMusicValid | Time::kTempoValid | Time::kTimeSigValid;
        time.state |= now.isPlaying ? uint32{Time::kPlaying} : 0;
        time.state |= now.isRecording ? uint32{Time::kRecording} : 0;
        time.state |= now.isLooping ? uint32{Time::kCycleActive | Time::kCycleValid} : 0;
        if (const auto change = score::parameterChangeAt(block, static_cast<int32>(ids.size()))) {
            const Vst::ParamID id = ids[static_cast<std::size_t>(change->index)];
            changes.set(id, change->value);
            stage = "setParamNormalized";
            controller->setParamNormalized(id, change->value);
        }
        if (const auto note = score::noteAt(block)) {
            addNote(*note);
        }
    }

    void addNote(const score::Note& note) {
        Vst::Event event{};
        if (note.status == 0x90) {
            event.type = Vst::Event::kNoteOnEvent;
            event.noteOn.pitch = note.key;
            event.noteOn.velocity = static_cast<float>(note.velocity) / 127.0F;
            event.noteOn.noteId = note.key;
        } else {
            event.type = Vst::Event::kNoteOffEvent;
            event.noteOff.pitch = note.key;
            event.noteOff.velocity = static_cast<float>(note.velocity) / 127.0F;
            event.noteOff.noteId = note.key;
        }
        events.addEvent(event);
    }

    Vst::IComponent* component = nullptr;
    Vst::IAudioProcessor* processor = nullptr;
    Vst::IEditController* controller = nullptr;
    bool isSeparate = false;
    Vst::IConnectionPoint* componentLine = nullptr;
    Vst::IConnectionPoint* controllerLine = nullptr;
    std::vector<Vst::ParamID> ids;
    bool takesNotes = false;
    Changes changes;
    Changes playedChanges;
    Events events;
    Events playedEvents;
};

template <class Function>
Function find(void* module, const char* name) {
    return reinterpret_cast<Function>(dlsym(module, name));
}

bare::Findings play(const char* file, Task task) {
    stage = "dlopen";
    void* module = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        fail(dlerror());
    }
    stage = "ModuleEntry";
    const auto enter = find<bool (*)(void*)>(module, "ModuleEntry");
    if (enter != nullptr && !enter(module)) {
        fail("refused");
    }
    stage = "GetPluginFactory";
    const auto getFactory = find<Steinberg::IPluginFactory* (*)()>(module, "GetPluginFactory");
    Steinberg::IPluginFactory* factory = getFactory != nullptr ? getFactory() : nullptr;
    if (factory == nullptr) {
        fail("no factory");
    }
    bare::Findings found{};
    {
        Plugin plugin(*factory);
        found = plugin.play(task);
        plugin.end();
    }
    factory->release();
    stage = "ModuleExit";
    if (const auto leave = find<bool (*)()>(module, "ModuleExit")) {
        leave();
    }
    stage = "dlclose";
    dlclose(module);
    return found;
}

} // namespace

int main(int argc, char* argv[]) {
    return bare::run(argc, argv, play);
}
