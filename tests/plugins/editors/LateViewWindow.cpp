// An effect whose VST 3 editor makes its window late, but while the host still waits.

#include "plugins/editors/LateView.h"

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<LateView>>();
}
