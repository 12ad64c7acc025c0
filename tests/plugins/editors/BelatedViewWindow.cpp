// An effect whose VST 3 editor makes its window when the host has given it up.

#include "plugins/editors/LateView.h"

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<LateView<1500>>>();
}
