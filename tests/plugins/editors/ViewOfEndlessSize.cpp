// An effect whose VST 3 editor has the farthest edges that there are.

#include "plugins/editors/EditorPlugin.h"

#include <limits>

namespace {

class ViewOfEndlessSize : public EditorView {
public:
    tresult PLUGIN_API getSize(Steinberg::ViewRect* answer) override {
        using Number = std::numeric_limits<Steinberg::int32>;
        *answer = {Number::min(), Number::min(), Number::max(), Number::max()};
        return kResultOk;
    }
    tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect*) override { return kResultFalse; }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<ViewOfEndlessSize>>();
}
