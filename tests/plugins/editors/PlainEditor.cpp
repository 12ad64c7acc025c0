// An effect whose editor does what it should.

#include "plugins/editors/EditorEffect.h"

EDITOR_EFFECT_ENTRY(EditorEffect)
