// An effect with a controller of its own, which both record what they are asked.

#include "vst3/Identifiers.h"
#include "vst3/RecordingPlugin.h"

namespace {

constexpr Vst::ParamID gain = 700;
constexpr Vst::ParamID mix = 30;

class Component : public RecordingComponent {
public:
    Component()
        : RecordingComponent({
              .controllerClass = controllerClass,
              .buses = {Vst3Bus::audioInput(),
                        {.media = Vst::kAudio,
                         .direction = Vst::kInput,
                         .name = "Side Chain",
                         .arrangement = Vst::SpeakerArr::kMono,
                         .type = Vst::kAux},
                        Vst3Bus::eventInput(),
                        Vst3Bus::audioOutput(),
                        Vst3Bus::eventOutput()},
              .parameters = {{.id = gain, .title = "Gain", .defaultValue = 0.25},
                             {.id = mix, .title = "Mix", .defaultValue = 0.75}},
          }) {}
};

class Controller : public RecordingController<> {
public:
    // The values are others until the component's state arrives.
    Controller()
        : RecordingController("controller", std::vector<Vst3Parameter>{{.id = gain, .title = "Gain"},
                                                                       {.id = mix, .title = "Mix"}}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<Component>(firstClass, "Records Its Calls"),
                                 vst3Class<Controller>(controllerClass, "Controller")});
}
