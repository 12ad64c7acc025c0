#pragma once

// What BareVst3Loader.cpp is to a VST 3 plug-in: the objects that it asks its host for, and the lists and
// buffers of a block.

#include "real-plugins/BareRun.h"
#include "real-plugins/BareWindow.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include <pluginterfaces/gui/iplugview.h>
#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivstcomponent.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstevents.h>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <pluginterfaces/vst/ivstparameterchanges.h>

namespace bare {

namespace Vst = Steinberg::Vst;

using Steinberg::FUnknown;
using Steinberg::int32;
using Steinberg::kNoInterface;
using Steinberg::kNotImplemented;
using Steinberg::kResultOk;
using Steinberg::tresult;
using Steinberg::TUID;
using Steinberg::uint32;

/// Ends the run unless a call of the plug-in succeeded.
inline void check(const char* what, tresult result) {
    stage = what;
    if (result != kResultOk) {
        fail("refused");
    }
}

/// What this program gives to plug-ins: it lives as long as they do, and isn't counted.
template <class Interface>
class Given : public Interface {
public:
    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        const bool isMeant = std::memcmp(identifier, Interface::iid.toTUID(), sizeof(TUID)) == 0 ||
                             std::memcmp(identifier, FUnknown::iid.toTUID(), sizeof(TUID)) == 0;
        *result = isMeant ? static_cast<Interface*>(this) : nullptr;
        return isMeant ? kResultOk : kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
};

class HandlerOfEdits : public Given<Vst::IComponentHandler> {
public:
    tresult PLUGIN_API beginEdit(Vst::ParamID) override { return kResultOk; }
    tresult PLUGIN_API performEdit(Vst::ParamID, Vst::ParamValue) override { return kResultOk; }
    tresult PLUGIN_API endEdit(Vst::ParamID) override { return kResultOk; }
    tresult PLUGIN_API restartComponent(int32) override { return kResultOk; }
};

class Application : public Given<Vst::IHostApplication> {
public:
    tresult PLUGIN_API getName(Vst::String128 name) override {
        constexpr std::u16string_view words = u"Bare loader";
        *std::copy(words.begin(), words.end(), name) = 0;
        return kResultOk;
    }
    tresult PLUGIN_API createInstance(TUID, TUID, void** result) override {
        *result = nullptr;
        return kNotImplemented;
    }
};

/// Gives no run loop, as the host doesn't.
class Frame : public Given<Steinberg::IPlugFrame> {
public:
    explicit Frame(Window& window) : window(window) {}

    tresult PLUGIN_API resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* size) override {
        if (size == nullptr) {
            return Steinberg::kInvalidArgument;
        }
        window.resize(size->getWidth(), size->getHeight());
        return view->onSize(size);
    }

private:
    Window& window;
};

/// One change of one parameter, at the block's start, or none.
class Changes : public Given<Vst::IParameterChanges>, public Given<Vst::IParamValueQueue> {
public:
    void clear() { isThere = false; }
    void set(Vst::ParamID newId, double newValue) {
        id = newId;
        value = newValue;
        isThere = true;
    }

    int32 PLUGIN_API getParameterCount() override { return isThere ? 1 : 0; }
    Vst::IParamValueQueue* PLUGIN_API getParameterData(int32 index) override {
        return isThere && index == 0 ? this : nullptr;
    }
    /// What a plug-in tells of its parameters goes nowhere.
    Vst::IParamValueQueue* PLUGIN_API addParameterData(const Vst::ParamID&, int32&) override {
        return nullptr;
    }

    Vst::ParamID PLUGIN_API getParameterId() override { return id; }
    int32 PLUGIN_API getPointCount() override { return 1; }
    tresult PLUGIN_API getPoint(int32 index, int32& offset, Vst::ParamValue& point) override {
        offset = 0;
        point = value;
        return index == 0 ? kResultOk : Steinberg::kInvalidArgument;
    }
    tresult PLUGIN_API addPoint(int32, Vst::ParamValue, int32&) override { return kNotImplemented; }

private:
    bool isThere = false;
    Vst::ParamID id = 0;
    double value = 0;
};

/// One event, or none.
class Events : public Given<Vst::IEventList> {
public:
    void clear() { count = 0; }
    int32 PLUGIN_API getEventCount() override { return count; }
    tresult PLUGIN_API getEvent(int32 index, Vst::Event& found) override {
        found = event;
        return index == 0 && count == 1 ? kResultOk : Steinberg::kInvalidArgument;
    }
    tresult PLUGIN_API addEvent(Vst::Event& added) override {
        event = added;
        count = 1;
        return kResultOk;
    }

private:
    Vst::Event event{};
    int32 count = 0;
};

/// The buses of a direction, over the buffers of all their channels.
class Buses {
public:
    Buses(Vst::IComponent& component, Vst::BusDirection direction)
        : buffers(describe(component, direction)), channels(countChannels()) {
        float** next = channels.array();
        for (Vst::AudioBusBuffers& bus : buffers) {
            bus.channelBuffers32 = next;
            next += bus.numChannels;
        }
    }

    [[nodiscard]] int32 count() const { return static_cast<int32>(buffers.size()); }
    [[nodiscard]] int32 countChannels() const {
        int32 total = 0;
        for (const Vst::AudioBusBuffers& bus : buffers) {
            total += bus.numChannels;
        }
        return total;
    }

    std::vector<Vst::AudioBusBuffers> buffers;
    Channels channels;

private:
    static std::vector<Vst::AudioBusBuffers> describe(Vst::IComponent& component,
                                                      Vst::BusDirection direction) {
        std::vector<Vst::AudioBusBuffers> found;
        stage = "getBusInfo";
        const int32 count = component.getBusCount(Vst::kAudio, direction);
        for (int32 index = 0; index < count; ++index) {
            Vst::BusInfo info{};
            check("getBusInfo", component.getBusInfo(Vst::kAudio, direction, index, info));
            found.emplace_back().numChannels = info.channelCount;
        }
        return found;
    }
};

} // namespace bare
