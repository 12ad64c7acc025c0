// An effect whose VST 3 editor has one size and takes no other.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewRefusesSizes : public EditorView {
public:
    tresult PLUGIN_API canResize() override { return kResultFalse; }
    tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect*) override { return kResultFalse; }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewRefusesSizes>>();
}
