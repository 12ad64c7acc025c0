#pragma once

#include "plugins/editors/EditorPlugin.h"

#include <concepts>

/// A half of a plug-in that is asked for its view as for an interface.
template <class Half>
class OffersView : public Half {
public:
    using Half::Half;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (FUID::fromTUID(identifier) != Steinberg::IPlugView::iid)
            return Half::queryInterface(identifier, result);
        editorRecord()->calls.add(std::derived_from<Half, Vst::IComponent> ? "view of the component"
                                                                           : "view of the controller");
        *result = static_cast<Steinberg::IPlugView*>(new EditorView);
        return kResultOk;
    }
};

/// A plug-in in two halves.
template <class Component, class Controller>
Steinberg::IPluginFactory* makeFactoryOfHalves() {
    return new Vst3Factory(
        {vst3Class<Component>(firstClass, "Editor"), vst3Class<Controller>(controllerClass, "Editor")});
}
