// An effect that gives its view only to a host that asks for none in particular.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewWithoutAName : public EditorPlugin<EditorView> {
protected:
    Steinberg::IPlugView* makeView(FIDString name) override {
        return name == nullptr ? new EditorView : nullptr;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<ViewWithoutAName>();
}
