#pragma once

#include "plugins/Vst3Object.h"
#include "plugins/Vst3Parameters.h"

#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivstcomponent.h>
#include <pluginterfaces/vst/vstspeaker.h>
#include <vector>

/// A bus that a component has. Its name is ASCII.
struct Vst3Bus {
    Vst::MediaType media;
    Vst::BusDirection direction;
    const char* name;
    Vst::SpeakerArrangement arrangement = Vst::SpeakerArr::kEmpty; // of an audio bus
    int32_t channels = 16;                                         // of an event bus
    Vst::BusType type = Vst::kMain;

    static Vst3Bus audioInput(Vst::SpeakerArrangement arrangement = Vst::SpeakerArr::kStereo);
    static Vst3Bus audioOutput(Vst::SpeakerArrangement arrangement = Vst::SpeakerArr::kStereo);
    static Vst3Bus eventInput();
    static Vst3Bus eventOutput();
};

struct Vst3ComponentTraits {
    FUID controllerClass{}; // none if it is zero
    std::vector<Vst3Bus> buses{Vst3Bus::audioInput(), Vst3Bus::audioOutput()};
    std::vector<Vst3Parameter> parameters{};
};

/// The half of a VST 3 plug-in that renders: the base of the components of this tree. Derived classes may
/// override every operation.
class Vst3Component
    : public Vst3Half<Vst::IComponent, Vst::IAudioProcessor, Vst::IProcessContextRequirements> {
public:
    explicit Vst3Component(const Vst3ComponentTraits& traits);

    tresult PLUGIN_API getControllerClassId(TUID classId) override;
    tresult PLUGIN_API setIoMode(Vst::IoMode mode) override;
    Steinberg::int32 PLUGIN_API getBusCount(Vst::MediaType media, Vst::BusDirection direction) override;
    tresult PLUGIN_API getBusInfo(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) override;
    tresult PLUGIN_API getRoutingInfo(Vst::RoutingInfo& input, Vst::RoutingInfo& output) override;
    tresult PLUGIN_API activateBus(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                   Steinberg::TBool state) override;
    tresult PLUGIN_API setActive(Steinberg::TBool state) override;
    /// The values of the parameters.
    tresult PLUGIN_API setState(Steinberg::IBStream* state) override;
    tresult PLUGIN_API getState(Steinberg::IBStream* state) override;

    /// Refuses all arrangements but the current one.
    tresult PLUGIN_API setBusArrangements(Vst::SpeakerArrangement* inputs, Steinberg::int32 inputCount,
                                          Vst::SpeakerArrangement* outputs,
                                          Steinberg::int32 outputCount) override;
    tresult PLUGIN_API getBusArrangement(Vst::BusDirection direction, Steinberg::int32 index,
                                         Vst::SpeakerArrangement& arrangement) override;
    tresult PLUGIN_API canProcessSampleSize(Steinberg::int32 sampleSize) override;
    Steinberg::uint32 PLUGIN_API getLatencySamples() override;
    tresult PLUGIN_API setupProcessing(Vst::ProcessSetup& newSetup) override;
    tresult PLUGIN_API setProcessing(Steinberg::TBool state) override;
    /// Applies the changes of parameters, then renders.
    tresult PLUGIN_API process(Vst::ProcessData& data) override;
    Steinberg::uint32 PLUGIN_API getTailSamples() override;
    /// None: no plug-in of this tree needs the transport.
    Steinberg::uint32 PLUGIN_API getProcessContextRequirements() override;

protected:
    /// Writes the block's outputs; the base doesn't.
    virtual void render(Vst::ProcessData& data);

    /// Null for a bus that doesn't exist.
    const Vst3Bus* findBus(Vst::MediaType media, Vst::BusDirection direction, int32_t index) const;

    const Vst3ComponentTraits traits;
    Vst3Parameters parameters;
    Vst::ProcessSetup setup{Vst::kRealtime, Vst::kSample32, 256, 44100};
};
