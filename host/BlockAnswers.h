#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

class PluginInstance;

/// The answers of a worker to its blocks: each leaves at once. Or, with the extension `cycles`, those of
/// blocks that come together leave together, as far as this delays none for long: before a block of an
/// instance whose last one took its time, or that has had none, all answers leave, so that they are on their
/// way if it hangs. Real-time safe.
class BlockAnswers : public NonCopyable, public NonMovable {
public:
    explicit BlockAnswers(bool areTogether) : areTogether(areTogether) {}

    /// Before `instance` renders, or a command with no answer; null for that.
    void beginBlock(OutputStream& stream, const PluginInstance* instance);
    /// After it has rendered. `hasMore` if the next command has come already.
    void endBlock(OutputStream& stream, PluginInstance& instance, int32_t result, bool hasMore);

private:
    void send(OutputStream& stream);

    const bool areTogether;
    bool isHolding = false;
    /// When the last block ended, in nanoseconds of `CLOCK_MONOTONIC`; 0 if that isn't known.
    int64_t lastEnd = 0;
    /// When the oldest answer was held.
    int64_t heldSince = 0;
};
