// An effect whose window comes when its host has given it up.

#include "plugins/editors/LateEditor.h"

EDITOR_EFFECT_ENTRY(LateEditor<1500>)
