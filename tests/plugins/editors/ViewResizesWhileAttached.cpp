// An effect whose VST 3 editor asks for another size before it has made its window.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewResizesWhileAttached : public EditorView {
protected:
    void openEditor(uint32_t parent) override {
        requestSize(320, 240);
        EditorView::openEditor(parent);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewResizesWhileAttached>>();
}
