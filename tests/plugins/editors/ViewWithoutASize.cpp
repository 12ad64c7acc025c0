// An effect whose VST 3 editor doesn't tell its size.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewWithoutASize : public EditorView {
public:
    tresult PLUGIN_API getSize(Steinberg::ViewRect*) override { return kNotImplemented; }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewWithoutASize>>();
}
