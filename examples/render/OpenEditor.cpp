#include "render/OpenEditor.h"

#include <utility>

plugin_host::plugin_events OpenEditor::makeEvents() {
    return {.parameter_changed =
                [this](uint32_t parameter, float value) {
                    const std::lock_guard lock(changesLock);
                    changes.push_back({parameter, value});
                },
            .editor_closed = [this] { open = false; }};
}

std::vector<OpenEditor::Change> OpenEditor::takeChanges() {
    const std::lock_guard lock(changesLock);
    return std::exchange(changes, {});
}
