// An effect whose controller knows of no view; the component gives one to hosts that ask for the interface.

#include "plugins/editors/ViewOfItsOwn.h"

namespace {

class Component : public OffersView<Vst3Component> {
public:
    Component() : OffersView({.controllerClass = controllerClass}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeFactoryOfHalves<Component, Vst3Controller>();
}
