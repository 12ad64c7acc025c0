// An effect whose VST 3 editor asks for another size on a thread of its own.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewResizesOnAThread : public EditorView {
protected:
    void requestSize(int32_t width, int32_t height) override {
        resizing.emplace(0, [this, width, height] {
            EditorView::requestSize(width, height);
            return false;
        });
    }

    void closeEditor() override {
        resizing.reset();
        EditorView::closeEditor();
    }

private:
    std::optional<EditorThread> resizing;
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewResizesOnAThread>>();
}
