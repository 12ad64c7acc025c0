// An effect with an input bus for each arrangement that a host may meet, and an output bus of six channels.

#include "vst3/Identifiers.h"
#include "vst3/RecordingPlugin.h"

namespace {

std::vector<Vst3Bus> makeBuses() {
    std::vector<Vst3Bus> buses;
    for (const Vst::SpeakerArrangement arrangement :
         {0x0,  0x3,  0x80000, 0xC,  0x30, 0xC0, 0x600,   0x5000,  0x28000,  0x3000000, 0x50000000,
          0x3F, 0x33, 0x1,     0x80, 0x60, 0x7,  0x80001, 0x10000, 0x300000, 0xC000000})
        buses.push_back(Vst3Bus::audioInput(arrangement));
    buses.push_back(Vst3Bus::audioOutput(Vst::SpeakerArr::k51));
    return buses;
}

class Component : public RecordingComponent {
public:
    Component() : RecordingComponent({.buses = makeBuses()}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<Component>(firstClass, "Buses Of Every Arrangement")});
}
