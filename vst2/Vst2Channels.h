#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <memory>

/// The channels that an effect gets in one direction: those of the audio block and, since an effect may claim
/// more than it had when the block was made, one shared scratch channel for each further one. The claim may
/// change at any time, on any thread: the first `alwaysThere` channels are valid for any claim.
class Vst2Channels : public NonCopyable, public NonMovable {
public:
    /// An effect that claims more isn't called.
    static constexpr int32_t limit = 16384;
    static constexpr int32_t alwaysThere = 256;

    Vst2Channels();
    ~Vst2Channels();

    /// Adopts the channels of a block, of up to `blockSize` frames. Main thread, before the worker sees them.
    void connect(float* const* blockChannels, int32_t blockChannelCount, int32_t blockSize);
    /// At least `claimed` channels; null if there can't be as many. Audio worker; doesn't allocate.
    float** reach(int32_t claimed);
    /// Makes the scratch channel silent. Audio worker.
    void silenceScratch();
    bool isBeyondBlock(int32_t claimed) const { return claimed > channelCount; }

private:
    struct Free {
        void operator()(void* memory) const;
    };

    int32_t channelCount = 0;
    /// Entries of `table` that are set. The rest is untouched memory, which takes no pages.
    int32_t reached = 0;
    int32_t capacity = 0;
    size_t scratchSize = 0; // bytes
    std::unique_ptr<float*[], Free> table;
    std::unique_ptr<float[], Free> scratch;
};
