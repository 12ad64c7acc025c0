// A module whose factory finds another class with each one that it is asked for, up to four.

#include "vst3/PlainEffect.h"

namespace {

class Factory : public Vst3Factory {
public:
    using Vst3Factory::Vst3Factory;

    Steinberg::int32 PLUGIN_API countClasses() override { return found; }
    tresult PLUGIN_API getClassInfo(Steinberg::int32 index, Steinberg::PClassInfo* info) override {
        if (found < Vst3Factory::countClasses())
            ++found;
        return Vst3Factory::getClassInfo(index, info);
    }

private:
    int32_t found = 1;
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Factory({vst3Class<PlainEffect>(FUID(0, 0, 0, 1), "One"),
                        vst3Class<PlainEffect>(FUID(0, 0, 0, 2), "Two"),
                        vst3Class<PlainEffect>(FUID(0, 0, 0, 3), "Three"),
                        vst3Class<PlainEffect>(FUID(0, 0, 0, 4), "Four")});
}
