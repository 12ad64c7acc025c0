// An effect whose VST 3 editor destroys its window without a word to the host, before it asks for another
// size.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewDestroysItsWindow : public EditorView {
protected:
    void requestSize(int32_t width, int32_t height) override {
        window.reset();
        EditorView::requestSize(width, height);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewDestroysItsWindow>>();
}
