#include "library/ClientCycle.h"

#include "library/Calls.h"

namespace client_library {
namespace {

/// The cycle for the scope of a call.
class CycleUse : public NonCopyable, public NonMovable {
public:
    explicit CycleUse(std::atomic<bool>& isTaken)
        : isTaken(isTaken), isMine(!isTaken.exchange(true, std::memory_order_acquire)) {}
    ~CycleUse() {
        if (isMine)
            isTaken.store(false, std::memory_order_release);
    }

    explicit operator bool() const { return isMine; }

private:
    std::atomic<bool>& isTaken;
    const bool isMine;
};

} // namespace

ClientCycle::ClientCycle(const Ref<SessionContext>& context, size_t capacity)
    : context(context), capacity(capacity), entries(new Entry[capacity]), cycle(capacity) {
    turns.reserve(capacity);
}

ClientCycle::~ClientCycle() = default;

void ClientCycle::end() noexcept {
    constexpr timespec past{};
    finish(&past);
}

plugin_host_status ClientCycle::begin(plugin_host_block* given, size_t count) noexcept {
    const CycleUse use(isTaken);
    if (!use)
        return PLUGIN_HOST_BUSY;
    if (isUnderway)
        return PLUGIN_HOST_INVALID_STATE;
    if (count > capacity || !areReadable(given, count))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    blocks = given;
    blockCount = count;
    blockSize = count > 0 ? given->size : 0;
    isUnderway = true;
    for (size_t index = 0; index < count; ++index)
        beginBlock(entries[index], blockAt(index));
    cycle.send();
    return PLUGIN_HOST_OK;
}

plugin_host_status ClientCycle::finish(const timespec* deadline) noexcept {
    const CycleUse use(isTaken);
    if (!use)
        return PLUGIN_HOST_BUSY;
    if (!isUnderway)
        return PLUGIN_HOST_INVALID_STATE;
    cycle.finish(deadline);
    plugin_host_status result = PLUGIN_HOST_OK;
    for (size_t index = 0; index < blockCount; ++index) {
        endBlock(entries[index], blockAt(index));
        if (result == PLUGIN_HOST_OK)
            result = entries[index].status;
    }
    for (WorkerTurn* turn : turns)
        turn->leave();
    turns.clear();
    // Only now: until then its worker is this cycle's.
    for (size_t index = 0; index < blockCount; ++index)
        entries[index].plugin.reset();
    isUnderway = false;
    return result;
}

// Blocks of an application that is older or newer than this library have another size.
plugin_host_block& ClientCycle::blockAt(size_t index) const {
    return *reinterpret_cast<plugin_host_block*>(reinterpret_cast<char*>(blocks) + index * blockSize);
}

bool ClientCycle::areReadable(plugin_host_block* given, size_t count) const {
    if (count == 0)
        return true;
    if (!canFill(given) || given->size < offsetof(plugin_host_block, status))
        return false;
    for (size_t index = 1; index < count; ++index) {
        const auto* block = reinterpret_cast<const plugin_host_block*>(reinterpret_cast<const char*>(given) +
                                                                       index * given->size);
        if (block->size != given->size)
            return false;
    }
    return true;
}

void ClientCycle::beginBlock(Entry& entry, const plugin_host_block& block) {
    const AudioUse& plugin = entry.plugin.emplace(block.plugin);
    entry.status = plugin.getStatus(block.frames);
    if (entry.status != PLUGIN_HOST_OK)
        return;
    PluginAudio& audio = plugin.get();
    if (!takeWorker(audio.turn)) {
        entry.status = PLUGIN_HOST_BUSY;
        return;
    }
    if (audio.isInCycle) {
        entry.status = PLUGIN_HOST_INVALID_STATE;
        return;
    }
    audio.isInCycle = true;
    cycle.add(*audio.context, entry.block, static_cast<int32_t>(block.frames),
              (block.flags & PLUGIN_HOST_KEEP_ACTIVE) != 0, (block.flags & PLUGIN_HOST_OFFLINE) == 0);
}

bool ClientCycle::takeWorker(WorkerTurn& turn) {
    if (turn.isOwnedBy(this))
        return true;
    if (!turn.take(this))
        return false;
    turns.push_back(&turn);
    return true;
}

plugin_host_status ClientCycle::judge(const Entry& entry) const {
    if (entry.status != PLUGIN_HOST_OK)
        return entry.status;
    switch (entry.block.state) {
    case WorkerBlock::State::done:
        return PLUGIN_HOST_OK;
    case WorkerBlock::State::late:
        return PLUGIN_HOST_LATE;
    default:
        return PLUGIN_HOST_DEAD;
    }
}

void ClientCycle::endBlock(Entry& entry, plugin_host_block& block) {
    plugin_host_block values{};
    values.plugin = block.plugin;
    values.frames = block.frames;
    values.flags = block.flags;
    const bool wasBegun = entry.status == PLUGIN_HOST_OK;
    entry.status = judge(entry);
    values.status = entry.status;
    if (wasBegun)
        entry.plugin->get().isInCycle = false;
    if (entry.status == PLUGIN_HOST_OK) {
        PluginAudio& audio = entry.plugin->get();
        audio.hasOutput = true;
        values.tail = static_cast<plugin_host_tail>(entry.block.result);
        values.channels = audio.outputs.data();
        values.channel_count = audio.outputs.size();
        values.event_count = audio.context->getOutputEvents().size();
    } else if (entry.status == PLUGIN_HOST_LATE) {
        PluginAudio& audio = entry.plugin->get();
        audio.isLate = true;
        audio.hasOutput = false;
        audio.host->noteLateness();
        values.channels = audio.silence.data();
        values.channel_count = audio.silence.size();
    } else if (entry.status == PLUGIN_HOST_DEAD && entry.plugin->hasAudio()) {
        PluginAudio& audio = entry.plugin->get();
        audio.hasOutput = false;
        if (wasBegun)
            audio.host->reportLoss();
        values.channels = audio.silence.data();
        values.channel_count = audio.silence.size();
    }
    // Its size stays, since it is what the next one's place is counted by.
    fill(block, values);
    block.size = blockSize;
}

} // namespace client_library
