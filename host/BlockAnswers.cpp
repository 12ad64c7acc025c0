#include "host/BlockAnswers.h"

#include "plugin/PluginInstance.h"

#include <ctime>

namespace {

// Nanoseconds.
constexpr int64_t quickBlock = 50'000;
constexpr int64_t longestHold = 200'000;

int64_t nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

} // namespace

void BlockAnswers::beginBlock(OutputStream& stream, const PluginInstance* instance) {
    if (isHolding && (instance == nullptr || !instance->audio.wasQuick))
        send(stream);
    // Behind another block, this one begins at its end.
    if (areTogether && !isHolding)
        lastEnd = nanoseconds();
}

void BlockAnswers::endBlock(OutputStream& stream, PluginInstance& instance, int32_t result, bool hasMore) {
    stream.writeInt32(result);
    if (!areTogether) {
        stream.flush();
        return;
    }
    const int64_t now = nanoseconds();
    instance.audio.wasQuick = now - lastEnd < quickBlock;
    lastEnd = now;
    if (!isHolding)
        heldSince = now;
    isHolding = true;
    if (!hasMore || now - heldSince > longestHold)
        send(stream);
}

void BlockAnswers::send(OutputStream& stream) {
    isHolding = false;
    stream.flush();
}
