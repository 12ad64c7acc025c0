// An effect whose VST 3 editor asks for another size every millisecond, on a thread of its own.

#include "plugins/editors/EditorPlugin.h"

namespace {

class ViewResizesInALoop : public EditorView {
protected:
    void openEditor(uint32_t parent) override {
        EditorView::openEditor(parent);
        resizing.emplace(1, [this, step = 0]() mutable {
            step = (step + 1) % 2;
            requestSize(200 + 40 * step, 120 + 40 * step);
            return true;
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
    return makeEditorFactory<EditorPlugin<ViewResizesInALoop>>();
}
