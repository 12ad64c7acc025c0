#pragma once

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/ModuleRecord.h"

#include <sstream>
#include <string>
#include <utility>

/// The name of a published interface, or else its identifier's digits.
std::string interfaceName(const char* identifier);

/// An object that records its end under its name.
template <class Base>
class RecordingEnd : public Base {
public:
    template <class... Arguments>
    explicit RecordingEnd(std::string name, Arguments&&... arguments)
        : Base(std::forward<Arguments>(arguments)...), name(std::move(name)) {}
    ~RecordingEnd() override { record.add(name + " gone"); }

protected:
    ModuleRecord& record = *moduleRecord();
    const std::string name;
};

/// What both halves of a plug-in record. An interface that is told to be answered by `kNoInterface` isn't
/// there; with any other failure it is given all the same, as careless plug-ins do.
template <class Base>
class RecordingHalf : public RecordingEnd<Base> {
public:
    using RecordingEnd<Base>::RecordingEnd;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        const tresult answer = answerTo("queryInterface " + interfaceName(identifier));
        *result = nullptr;
        if (answer == kNoInterface)
            return answer;
        const tresult known = Base::queryInterface(identifier, result);
        return answer == kResultOk ? known : answer;
    }
    tresult PLUGIN_API initialize(FUnknown* context) override {
        keepContext(context);
        const tresult answer = answerTo("initialize");
        return answer == kResultOk ? Base::initialize(context) : answer;
    }
    tresult PLUGIN_API terminate() override {
        answerTo("terminate");
        return Base::terminate();
    }
    tresult PLUGIN_API connect(Vst::IConnectionPoint* other) override {
        const tresult answer = answerTo("connect");
        return answer == kResultOk ? Base::connect(other) : answer;
    }
    tresult PLUGIN_API disconnect(Vst::IConnectionPoint* other) override {
        answerTo("disconnect");
        return Base::disconnect(other);
    }

protected:
    tresult answerTo(const std::string& call) const { return this->record.answerTo(this->name + " " + call); }

private:
    virtual void keepContext(FUnknown* context) { this->record.controllerContext = context; }
};

/// A component that records what sets it up, lets it run and takes it down, and answers as it is told;
/// questions about buses and latency are answered and not recorded.
class RecordingComponent : public RecordingHalf<Vst3Component> {
public:
    explicit RecordingComponent(const Vst3ComponentTraits& traits);

    tresult PLUGIN_API getControllerClassId(TUID classId) override;
    tresult PLUGIN_API getBusInfo(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) override;
    tresult PLUGIN_API activateBus(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                   Steinberg::TBool state) override;
    tresult PLUGIN_API setActive(Steinberg::TBool state) override;
    tresult PLUGIN_API setState(Steinberg::IBStream* state) override;
    tresult PLUGIN_API getState(Steinberg::IBStream* state) override;
    tresult PLUGIN_API setBusArrangements(Vst::SpeakerArrangement* inputs, Steinberg::int32 inputCount,
                                          Vst::SpeakerArrangement* outputs,
                                          Steinberg::int32 outputCount) override;
    tresult PLUGIN_API getBusArrangement(Vst::BusDirection direction, Steinberg::int32 index,
                                         Vst::SpeakerArrangement& arrangement) override;
    tresult PLUGIN_API setupProcessing(Vst::ProcessSetup& newSetup) override;
    tresult PLUGIN_API setProcessing(Steinberg::TBool state) override;
    /// As many as it is told to answer.
    Steinberg::uint32 PLUGIN_API getLatencySamples() override;

protected:
    void render(Vst::ProcessData& data) override;

private:
    void keepContext(FUnknown* context) override;
};

/// The same of a controller, or of a plug-in that is its own.
template <class Base = Vst3Controller>
class RecordingController : public RecordingHalf<Base> {
public:
    using RecordingHalf<Base>::RecordingHalf;

    tresult PLUGIN_API setComponentHandler(Vst::IComponentHandler* newHandler) override {
        this->record.handler = newHandler;
        this->answerTo("setComponentHandler");
        return Base::setComponentHandler(newHandler);
    }
    tresult PLUGIN_API setComponentState(Steinberg::IBStream* state) override {
        const tresult answer = this->answerTo("setComponentState");
        return answer == kResultOk ? Base::setComponentState(state) : answer;
    }
    Steinberg::int32 PLUGIN_API getParameterCount() override {
        const auto told = static_cast<Steinberg::int32>(this->record.parameterIds.size());
        return told > 0 ? told : Base::getParameterCount();
    }
    tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Vst::ParameterInfo& info) override {
        ++this->record.parameterQuestions;
        if (this->record.onQuestion)
            this->record.onQuestion();
        if (this->record.parameterIds.empty())
            return Base::getParameterInfo(index, info);
        info.id = this->record.parameterIds[static_cast<size_t>(index)];
        return kResultOk;
    }
};

/// A factory that records which objects it makes, by the names of their classes. A creation that is told to
/// fail gives its object all the same.
class RecordingFactory : public Vst3Factory {
public:
    using Vst3Factory::Vst3Factory;

    tresult PLUGIN_API createInstance(FIDString classId, FIDString identifier, void** result) override;
};
