// A plug-in that is built with the published SDK's own base classes: its halves count a reference to the
// host's context and handler, and hold each other for as long as they aren't disconnected. The module calls
// the hosts of all its plug-ins from a thread of its own.

#include "plugins/Vst3Factory.h"
#include "vst3/Identifiers.h"
#include "vst3/KeptContext.h"

#include <mutex>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <public.sdk/source/vst/vstcomponent.h>
#include <public.sdk/source/vst/vsteditcontroller.h>
#include <thread>
#include <vector>

namespace {

class Controller;

KeptContext kept;
std::mutex controllersLock;
/// All that were made, under the lock. Their components are reached from them. Never destroyed, so that a
/// leak checker finds what is kept on purpose.
std::vector<Controller*>& controllers = *new std::vector<Controller*>;
std::thread caller;
std::atomic<bool> mustEnd = false;

class Component : public Vst::Component {
public:
    Component() { setControllerClass(::controllerClass); }
};

class Controller : public Vst::EditController {
public:
    tresult PLUGIN_API setComponentHandler(Vst::IComponentHandler* handler) override {
        const tresult result = EditController::setComponentHandler(handler);
        parameters.addParameter(u"Gain", nullptr, 0, 0.5, Vst::ParameterInfo::kCanAutomate,
                                KeptContext::parameterId);
        const std::scoped_lock lock(controllersLock);
        controllers.push_back(this);
        kept.made = static_cast<int32_t>(controllers.size());
        return result;
    }

    void callHost(int32_t index) {
        constexpr uint32_t id = KeptContext::parameterId;
        count(index, componentHandler->beginEdit(id));
        count(index, componentHandler->performEdit(id, 0.25));
        count(index, componentHandler->endEdit(id));
        count(index, componentHandler->restartComponent(Vst::kParamValuesChanged));
        Steinberg::FUnknownPtr<Vst::IHostApplication> application(getHostContext());
        Vst::String128 name;
        if (!application || application->getName(name) != kResultOk)
            ++kept.others;
    }

private:
    static void count(int32_t index, tresult answer) {
        if (answer == kResultOk) {
            ++kept.accepted;
            kept.lastAccepted = index;
        } else if (answer == kInvalidArgument || answer == kResultFalse) {
            ++kept.refused;
        } else {
            ++kept.others;
        }
    }
};

Controller* controllerAt(int32_t index) {
    const std::scoped_lock lock(controllersLock);
    return controllers[static_cast<size_t>(index)];
}

void callAll() {
    constexpr int32_t callsOfEach = 20;
    int32_t latest = -1;
    int32_t callsLeft = 0;
    int32_t former = 0;
    while (!mustEnd) {
        const int32_t newest = kept.made - 1;
        if (newest > latest) {
            latest = newest;
            callsLeft = callsOfEach;
        }
        // Not without end: each call that is accepted is work for the host.
        if (callsLeft > 0) {
            --callsLeft;
            controllerAt(latest)->callHost(latest);
        }
        if (latest > 0) {
            former = (former + 1) % latest;
            controllerAt(former)->callHost(former);
        }
        std::this_thread::yield();
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) KeptContext* keptContext() {
    kept.start = [] {
        mustEnd = false;
        caller = std::thread(callAll);
    };
    kept.stop = [] {
        mustEnd = true;
        caller.join();
    };
    kept.callLatest = [] {
        const int32_t latest = kept.made - 1;
        std::thread([latest] { controllerAt(latest)->callHost(latest); }).join();
    };
    return &kept;
}

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({{firstClass, kVstAudioEffectClass, "Keeps Its Context",
                             []() -> FUnknown* { return static_cast<Vst::IComponent*>(new Component); }},
                            {controllerClass, vst3ControllerCategory, "Controller", []() -> FUnknown* {
                                 return static_cast<Vst::IEditController*>(new Controller);
                             }}});
}
