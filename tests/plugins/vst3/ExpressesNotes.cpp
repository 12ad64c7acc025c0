// A module with an instrument for each kind of note expression, under the identifier of the expression's type
// with a one before it; one class more fails to tell of its only expression.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/TextlessNoteExpressions.h"

namespace {

/// On the first bus and channel, an expression that nobody asks for and then `type`.
template <Vst::NoteExpressionTypeID type, tresult answer = kResultOk>
class Instrument : public TextlessNoteExpressions<Vst3SinglePlugin> {
public:
    Instrument()
        : TextlessNoteExpressions<Vst3SinglePlugin>(
              {.buses = {Vst3Bus::eventInput(), Vst3Bus::audioOutput()}}) {}

    Steinberg::int32 PLUGIN_API getNoteExpressionCount(Steinberg::int32 bus,
                                                       Steinberg::int16 channel) override {
        return bus == 0 && channel == 0 ? 2 : 0;
    }
    tresult PLUGIN_API getNoteExpressionInfo(Steinberg::int32, Steinberg::int16, Steinberg::int32 index,
                                             Vst::NoteExpressionTypeInfo& info) override {
        info.typeId = index == 1 ? type : Vst::NoteExpressionTypeID{Vst::kCustomStart};
        return index == 1 ? answer : tresult{kResultOk};
    }
};

template <Vst::NoteExpressionTypeID type>
Vst3Class instrument(const char* name) {
    return vst3Class<Instrument<type>>(FUID(0, 0, 1, type), name, "Instrument");
}

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({instrument<0>("Volume"), instrument<1>("Pan"), instrument<2>("Tuning"),
                            instrument<3>("Vibrato"), instrument<4>("Expression"),
                            instrument<5>("Brightness"), instrument<6>("Text"),
                            vst3Class<Instrument<0, kResultFalse>>(FUID(0, 0, 2, 0), "Unsure Of Volume")});
}
