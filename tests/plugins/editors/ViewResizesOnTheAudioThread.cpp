// An effect that asks for another size of its VST 3 editor while it renders.

#include "plugins/editors/EditorPlugin.h"

#include <atomic>

namespace {

class WaitingView : public EditorView {
public:
    /// Audio thread.
    void requestWaitingSize() {
        if (const int32_t width = wantedWidth.exchange(0); width != 0)
            EditorView::requestSize(width, wantedHeight);
    }

protected:
    void requestSize(int32_t width, int32_t height) override {
        wantedHeight = height;
        wantedWidth = width;
    }

private:
    std::atomic<int32_t> wantedWidth = 0;
    std::atomic<int32_t> wantedHeight = 0;
};

class ViewResizesOnTheAudioThread : public EditorPlugin<WaitingView> {
protected:
    Steinberg::IPlugView* makeView(FIDString) override {
        view = new WaitingView;
        return view;
    }

    void render(Vst::ProcessData&) override { view->requestWaitingSize(); }

private:
    WaitingView* view = nullptr;
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<ViewResizesOnTheAudioThread>();
}
