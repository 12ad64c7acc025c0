// A module with an effect that doesn't know its output bus, and another whose buses can't be activated,
// between effects that work.

#include "vst3/PlainEffect.h"

namespace {

class KnowsNoOutput : public PlainEffect {
public:
    tresult PLUGIN_API getBusInfo(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) override {
        return direction == Vst::kOutput ? tresult{kResultFalse}
                                         : PlainEffect::getBusInfo(media, direction, index, info);
    }
};

class ActivatesNoBus : public PlainEffect {
public:
    tresult PLUGIN_API activateBus(Vst::MediaType, Vst::BusDirection, Steinberg::int32,
                                   Steinberg::TBool) override {
        return kNotImplemented;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<KnowsNoOutput>(FUID(0, 0, 0, 1), "Knows No Output"),
                            vst3Class<PlainEffect>(FUID(0, 0, 0, 2), "Works", "Fx|Delay"),
                            vst3Class<ActivatesNoBus>(FUID(0, 0, 0, 3), "Activates No Bus"),
                            vst3Class<PlainEffect>(FUID(0, 0, 0, 4), "Is Never Tried")});
}
