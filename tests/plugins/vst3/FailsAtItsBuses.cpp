// A module with an effect that doesn't know its output bus, and another whose buses can't be activated,
// between effects that work.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"

namespace {

class Works : public Vst3SinglePlugin {
public:
    Works() : Vst3SinglePlugin({}) {}
};

class KnowsNoOutput : public Works {
public:
    tresult PLUGIN_API getBusInfo(Vst::MediaType media, Vst::BusDirection direction, Steinberg::int32 index,
                                  Vst::BusInfo& info) override {
        return direction == Vst::kOutput ? tresult{kResultFalse}
                                         : Works::getBusInfo(media, direction, index, info);
    }
};

class ActivatesNoBus : public Works {
public:
    tresult PLUGIN_API activateBus(Vst::MediaType, Vst::BusDirection, Steinberg::int32,
                                   Steinberg::TBool) override {
        return kNotImplemented;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<KnowsNoOutput>(FUID(0, 0, 0, 1), "Knows No Output"),
                            vst3Class<Works>(FUID(0, 0, 0, 2), "Works", "Fx|Delay"),
                            vst3Class<ActivatesNoBus>(FUID(0, 0, 0, 3), "Activates No Bus"),
                            vst3Class<Works>(FUID(0, 0, 0, 4), "Is Never Tried")});
}
