// A module that lists one audio class among classes of other kinds. The audio class names no controller class
// and isn't a controller, though the module has one.

#include "plugins/Vst3Factory.h"
#include "vst3/Identifiers.h"

#include <utility>

namespace {

class Component : public Vst3Component {
public:
    Component() : Vst3Component({}) {}
};

Vst3Class inCategory(const char* category, Vst3Class entry) {
    entry.category = category;
    return entry;
}

/// Doesn't know its second class when it is asked.
class Factory : public Vst3Factory {
public:
    using Vst3Factory::Vst3Factory;

    tresult PLUGIN_API getClassInfo(Steinberg::int32 index, Steinberg::PClassInfo* info) override {
        return index == 1 ? tresult{kResultFalse} : Vst3Factory::getClassInfo(index, info);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    const auto component = [](const char* name) { return vst3Class<Component>(secondClass, name); };
    return new Factory({vst3Class<Vst3Controller>(controllerClass, "Controller"), component("Unknown"),
                        inCategory("Audio Module Class ", component("Longer category")),
                        inCategory("Audio Module", component("Shorter category")),
                        inCategory("audio module class", component("Lower case")),
                        vst3Class<Component>(firstClass, "Only One"),
                        inCategory("", component("No category"))});
}
