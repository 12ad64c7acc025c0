// An effect whose VST 3 editor can be scaled.

#include "plugins/editors/EditorPlugin.h"

#include <pluginterfaces/gui/iplugviewcontentscalesupport.h>

namespace {

class ViewWithContentScale : public Vst3Offering<EditorView, Steinberg::IPlugViewContentScaleSupport> {
public:
    tresult PLUGIN_API setContentScaleFactor(ScaleFactor) override {
        editorRecord()->calls.add("scale");
        return kResultOk;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewWithContentScale>>();
}
