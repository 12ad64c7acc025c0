// An effect whose controller makes no view and is one, as hosts find by asking for the interface.

#include "plugins/editors/ViewOfItsOwn.h"

namespace {

class Component : public Vst3Component {
public:
    Component() : Vst3Component({.controllerClass = controllerClass}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeFactoryOfHalves<Component, OffersView<Vst3Controller>>();
}
