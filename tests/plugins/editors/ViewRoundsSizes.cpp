// An effect whose VST 3 editor takes sizes in steps of a hundred pixels.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewRoundsSizes : public EditorView {
public:
    tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect* wanted) override {
        wanted->right -= wanted->right % 100;
        wanted->bottom -= wanted->bottom % 100;
        return kResultOk;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewRoundsSizes>>();
}
