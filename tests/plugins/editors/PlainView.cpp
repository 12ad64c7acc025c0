// An effect whose VST 3 editor does what it should.

#include "plugins/editors/EditorPlugin.h"

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return makeEditorFactory<EditorPlugin<EditorView>>();
}
