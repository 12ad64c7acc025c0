// An effect whose VST 3 editor never makes a window.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewWithoutWindow : public EditorView {
protected:
    void openEditor(uint32_t) override {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewWithoutWindow>>();
}
