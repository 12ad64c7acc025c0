// An effect whose VST 3 editor makes its window in the run loop of its host: by a timer, after a byte has
// come through a pipe of its own. It unregisters neither.

#include "plugins/editors/EditorPlugin.h"

#include <unistd.h>

namespace {

using Steinberg::Linux::IEventHandler;
using Steinberg::Linux::IRunLoop;
using Steinberg::Linux::ITimerHandler;

class LoopView : public Vst3Offering<EditorView, IEventHandler, ITimerHandler> {
public:
    LoopView() {
        if (pipe(ends) != 0)
            editorRecord()->calls.add("no pipe");
    }
    ~LoopView() override {
        close(ends[0]);
        close(ends[1]);
    }

    tresult PLUGIN_API setFrame(Steinberg::IPlugFrame* frame) override {
        loop = nullptr;
        if (frame != nullptr)
            frame->queryInterface(IRunLoop::iid, reinterpret_cast<void**>(&loop));
        return EditorView::setFrame(frame);
    }

    void PLUGIN_API onTimer() override {
        editorRecord()->calls.add("timer");
        [[maybe_unused]] const ssize_t written = write(ends[1], "", 1);
        loop->unregisterTimer(this);
    }
    void PLUGIN_API onFDIsSet(int descriptor) override {
        char byte = 0;
        [[maybe_unused]] const ssize_t count = read(descriptor, &byte, 1);
        editorRecord()->calls.add("descriptor");
        if (!window)
            window.emplace(parent);
    }

protected:
    void openEditor(uint32_t newParent) override {
        parent = newParent;
        if (loop == nullptr) {
            editorRecord()->calls.add("no loop");
            return;
        }
        loop->registerTimer(this, 1);
        loop->registerEventHandler(this, ends[0]);
    }

private:
    IRunLoop* loop = nullptr; // outlives the view
    uint32_t parent = 0;
    int ends[2] = {-1, -1};
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<LoopView>>();
}
