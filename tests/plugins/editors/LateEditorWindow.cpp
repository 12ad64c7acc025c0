// An effect whose window comes late, but while its host still waits.

#include "plugins/editors/LateEditor.h"

EDITOR_EFFECT_ENTRY(LateEditor)
