#include "plugins/editors/EditorRecord.h"

EditorRecord* editorRecord() {
    static EditorRecord record;
    return &record;
}

void EditorRecord::openedIn(uint32_t parent, const std::string& call) {
    calls.add(call);
    if (onOpen)
        onOpen(parent);
}
