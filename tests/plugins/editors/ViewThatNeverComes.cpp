// An effect without an editor, which answers each way of asking for its view with none.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewThatNeverComes : public EditorPlugin<EditorView> {
protected:
    Steinberg::IPlugView* makeView(FIDString) override { return nullptr; }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<ViewThatNeverComes>();
}
