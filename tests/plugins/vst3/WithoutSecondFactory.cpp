// A module of the format's first days: its factory has no second interface.

#include "vst3/Identifiers.h"
#include "vst3/PlainEffect.h"

namespace {

class Factory : public Vst3Factory {
public:
    using Vst3Factory::Vst3Factory;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (!isAskedFor(identifier, Steinberg::IPluginFactory2::iid))
            return Vst3Factory::queryInterface(identifier, result);
        // Careless: the interface is there all the same, though without a reference.
        *result = static_cast<Steinberg::IPluginFactory2*>(this);
        addRef();
        return kNotImplemented;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Factory({vst3Class<PlainEffect>(firstClass, "Without Second Factory", "Fx|Delay")});
}
