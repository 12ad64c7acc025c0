// What a plug-in does for its life in another host, once its own is gone.

#include "library/ClientPlugin.h"
#include "library/StateFile.h"

#include <algorithm>
#include <iterator>

namespace client_library {

void ClientPlugin::setOutdated() {
    if (kept)
        kept->setOutdated();
}

void ClientPlugin::setEditorPlace(int32_t x, int32_t y, EditorSize size) {
    if (size.width > 0)
        *editorSize.lock() = size;
    if (!kept)
        return;
    const auto editor = kept->editor.lock();
    editor->hasPlace = true;
    editor->x = x;
    editor->y = y;
    editor->width = size.width;
    editor->height = size.height;
}

void ClientPlugin::setEditorClosed() {
    if (kept)
        kept->editor.lock()->isOpen = false;
}

void ClientPlugin::noteChange(uint32_t index, float value) {
    if (kept)
        kept->noteChange(index, value);
}

void ClientPlugin::keepState() {
    // What changes meanwhile may be in the state or not: noted again, it does no harm.
    const std::vector<KeptState::Change> changes = kept->takeChanges();
    try {
        kept->setState(saveState());
    } catch (...) {
        kept->restoreChanges(changes);
        throw;
    }
}

void ClientPlugin::prepareNext(ClientPlugin& next) {
    PluginAudio& playing = *next.getAudio();
    if (!next.takeTurn(playing))
        throw Failure(PLUGIN_HOST_DEAD, "The plug-in host is gone");
    try {
        next.replayChanges(playing, getAudio()->isStarted);
    } catch (const IOException& exception) {
        playing.turn.leave();
        throw Failure(PLUGIN_HOST_DEAD, exception.getMessage());
    }
    playing.turn.leave();
    next.reopenEditor();
}

// In blocks without frames, which plug-ins of VST 3 take only while they are started.
void ClientPlugin::replayChanges(PluginAudio& playing, bool isStarted) {
    RemotePluginAudioContextProxy& block = *playing.context;
    const std::vector<KeptState::Change> changes = kept->getChanges();
    if (changes.empty() && !isStarted)
        return;
    playing.isStarted = isStarted;
    block.startProcessing();
    block.beginBlock();
    for (const KeptState::Change& change : changes) {
        const auto index = static_cast<uint16_t>(change.index);
        if (block.addParameterChange(index, change.value))
            continue;
        block.process(0, false, false);
        block.beginBlock();
        block.addParameterChange(index, change.value);
    }
    if (!changes.empty())
        block.process(0, false, false);
    block.beginBlock();
    if (isStarted)
        return;
    block.stopProcessing();
    block.drain();
}

void ClientPlugin::reopenEditor() {
    const KeptState::Editor editor = *kept->editor.lock();
    if (!editor.isOpen)
        return;
    if (editor.hasPlace)
        setEditorPosition(editor.x, editor.y, {editor.width, editor.height});
    openEditor(editor.parentWindow, editor.title);
}

void ClientPlugin::keepMemory(ClientPlugin& former) {
    const auto memory = formerMemory.lock();
    if (!former.ownedAudio->hasBegun)
        std::ranges::move(*former.formerMemory.lock(), std::back_inserter(*memory));
    memory->push_back(std::move(static_cast<BlockMemory&>(*former.ownedAudio)));
}

bool ClientPlugin::handOver(ClientPlugin& next) {
    next.data = static_cast<void*>(data);
    const auto current = state.lock();
    if (current->phase != Phase::ready)
        return false;
    current->phase = Phase::destroyed;
    current->failure.emplace(PLUGIN_HOST_DEAD, "The plug-in host is gone");
    current->next = &next;
    changed.broadcast();
    return true;
}

} // namespace client_library
