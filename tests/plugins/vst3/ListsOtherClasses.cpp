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

/// Doesn't know its second class when it is asked, and doubts what it says of its only audio class.
class Factory : public Vst3Factory {
public:
    using Vst3Factory::Vst3Factory;

    tresult PLUGIN_API getClassInfo(Steinberg::int32 index, Steinberg::PClassInfo* info) override {
        if (index == unknownIndex)
            return kResultFalse;
        const tresult known = Vst3Factory::getClassInfo(index, info);
        return index == audioIndex ? tresult{kResultFalse} : known;
    }
    tresult PLUGIN_API getClassInfo2(Steinberg::int32 index, Steinberg::PClassInfo2* info) override {
        Vst3Factory::getClassInfo2(index, info);
        return kResultFalse;
    }

private:
    static constexpr int32_t unknownIndex = 1;
    static constexpr int32_t audioIndex = 5;
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
