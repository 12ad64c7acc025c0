#pragma once

#include "client/AudioCycle.h"
#include "library/AudioUse.h"
#include "library/SessionContext.h"
#include <plugin-host/client.h>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace client_library {

/// A cycle of the application's: it keeps its plug-ins where they are, and their workers, from its beginning
/// to its end. Owned by its handle and the session.
class ClientCycle : public Object {
public:
    static constexpr size_t largestCapacity = 8192;

    ClientCycle(const Ref<SessionContext>& context, size_t capacity);
    ~ClientCycle() override;

    // Real-time safe; statuses instead of exceptions.

    /// `blocks` stay where they are until `finish`.
    plugin_host_status begin(plugin_host_block* blocks, size_t count) noexcept;
    /// `deadline` is null or a time of `CLOCK_MONOTONIC`.
    plugin_host_status finish(const timespec* deadline) noexcept;
    /// Gives up the blocks that are underway.
    void end() noexcept;

    const Ref<SessionContext> context;
    // Set before anyone else has the cycle.
    plugin_host_cycle* handle = nullptr;
    Ref<Object> session;

private:
    struct Entry {
        std::optional<AudioUse> plugin;
        WorkerBlock block;
        /// What it has to answer already; else what has become of the block.
        plugin_host_status status = PLUGIN_HOST_OK;
    };

    plugin_host_block& blockAt(size_t index) const;
    bool areReadable(plugin_host_block* given, size_t count) const;
    void beginBlock(Entry& entry, const plugin_host_block& block);
    bool takeWorker(WorkerTurn& turn);
    plugin_host_status judge(const Entry& entry) const;
    void endBlock(Entry& entry, plugin_host_block& block);

    const size_t capacity;
    const std::unique_ptr<Entry[]> entries;
    AudioCycle cycle;
    std::vector<WorkerTurn*> turns;
    plugin_host_block* blocks = nullptr;
    size_t blockCount = 0;
    /// As the application has it, in bytes.
    size_t blockSize = 0;
    bool isUnderway = false;
    /// A call is in progress.
    std::atomic<bool> isTaken{false};
};

} // namespace client_library
