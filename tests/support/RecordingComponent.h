#pragma once

#include "support/KeptState.h"
#include "support/OwnedByTest.h"
#include "support/RecordedBlock.h"

#include <functional>
#include <pluginterfaces/vst/ivstcomponent.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>

namespace test_support {

/// A component of the test program's own: writes down its blocks and answers what it is told to.
class RecordingComponent : public OwnedByTest<Vst::IComponent, Vst::IAudioProcessor> {
public:
    using Calls = std::vector<std::string>;

    explicit RecordingComponent(Calls& calls) : calls(calls) {}

    void addBus(Vst::MediaType type, Vst::BusDirection direction, int32_t channelCount,
                Vst::BusType busType = Vst::kMain) {
        Vst::BusInfo info{};
        info.mediaType = type;
        info.direction = direction;
        info.channelCount = channelCount;
        info.busType = busType;
        busesOf(type, direction).push_back(info);
    }
    std::vector<Vst::BusInfo>& busesOf(Vst::MediaType type, Vst::BusDirection direction) {
        return buses[type][direction];
    }

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (inside != nullptr && isInterface(identifier, Vst::IEditController::iid))
            return inside->queryInterface(identifier, result);
        return OwnedByTest::queryInterface(identifier, result);
    }

    tresult PLUGIN_API initialize(FUnknown*) override { return kResultOk; }
    tresult PLUGIN_API terminate() override { return kResultOk; }
    tresult PLUGIN_API getControllerClassId(TUID classId) override {
        controllerClass.toTUID(classId);
        return kResultOk;
    }
    tresult PLUGIN_API setIoMode(Vst::IoMode) override { return kNotImplemented; }
    Steinberg::int32 PLUGIN_API getBusCount(Vst::MediaType type, Vst::BusDirection direction) override {
        return static_cast<Steinberg::int32>(busesOf(type, direction).size());
    }
    tresult PLUGIN_API getBusInfo(Vst::MediaType type, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) override {
        if (const tresult answer = onGetBusInfo ? onGetBusInfo(type, direction, index) : kResultOk;
            answer != kResultOk)
            return answer;
        info = busesOf(type, direction).at(static_cast<size_t>(index));
        return kResultOk;
    }
    tresult PLUGIN_API getRoutingInfo(Vst::RoutingInfo&, Vst::RoutingInfo&) override {
        return kNotImplemented;
    }
    tresult PLUGIN_API activateBus(Vst::MediaType, Vst::BusDirection, Steinberg::int32,
                                   Steinberg::TBool) override {
        return kResultOk;
    }
    tresult PLUGIN_API setActive(Steinberg::TBool) override { return kResultOk; }
    tresult PLUGIN_API setState(Steinberg::IBStream* stream) override {
        calls.push_back("component setState");
        return state.set(stream);
    }
    tresult PLUGIN_API getState(Steinberg::IBStream* stream) override { return state.get(stream); }

    tresult PLUGIN_API setBusArrangements(Vst::SpeakerArrangement*, Steinberg::int32,
                                          Vst::SpeakerArrangement*, Steinberg::int32) override {
        return kResultOk;
    }
    tresult PLUGIN_API getBusArrangement(Vst::BusDirection, Steinberg::int32,
                                         Vst::SpeakerArrangement&) override {
        return kNotImplemented;
    }
    tresult PLUGIN_API canProcessSampleSize(Steinberg::int32 sampleSize) override {
        if (!isQuiet)
            sampleSizesAsked.push_back(sampleSize);
        return sampleSizeAnswer;
    }
    Steinberg::uint32 PLUGIN_API getLatencySamples() override { return latency; }
    tresult PLUGIN_API setupProcessing(Vst::ProcessSetup&) override { return kResultOk; }
    tresult PLUGIN_API setProcessing(Steinberg::TBool) override { return kResultOk; }
    tresult PLUGIN_API process(Vst::ProcessData& data) override {
        if (!isQuiet)
            blocks.emplace_back(data);
        if (onProcess)
            onProcess(data);
        return processAnswer;
    }
    Steinberg::uint32 PLUGIN_API getTailSamples() override { return tail; }

    /// Shared with the controller, so that their order shows.
    Calls& calls;
    /// Of the controller's class; none where it is all zero.
    FUID controllerClass;
    /// A controller that the component itself offers.
    Vst::IEditController* inside = nullptr;
    std::function<tresult(Vst::MediaType, Vst::BusDirection, int32_t index)> onGetBusInfo;
    std::function<void(Vst::ProcessData&)> onProcess;
    std::vector<int32_t> sampleSizesAsked;
    /// Nothing of a block is written down, so that nothing is allocated.
    bool isQuiet = false;
    tresult sampleSizeAnswer = kResultOk;
    tresult processAnswer = kResultOk;
    uint32_t latency = 0;
    uint32_t tail = 0;
    KeptState state;
    std::vector<RecordedBlock> blocks;

private:
    std::vector<Vst::BusInfo> buses[2][2];
};

} // namespace test_support
