#include "vst2/Vst2Channels.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Effects that render in steps of vectors write up to the end of the last one.
constexpr size_t vectorFrames = 16;

template <class T>
T* allocate(size_t count) {
    void* memory = std::malloc(count * sizeof(T));
    if (memory == nullptr)
        throw std::bad_alloc();
    return static_cast<T*>(memory);
}

} // namespace

void Vst2Channels::Free::operator()(void* memory) const {
    std::free(memory);
}

Vst2Channels::Vst2Channels() = default;

Vst2Channels::~Vst2Channels() = default;

void Vst2Channels::connect(float* const* blockChannels, int32_t blockChannelCount, int32_t blockSize) {
    channelCount = blockChannelCount;
    capacity = std::max(blockChannelCount, limit);
    table.reset(allocate<float*>(static_cast<size_t>(capacity)));
    const size_t scratchFrames = static_cast<size_t>(std::max(blockSize, 0)) + vectorFrames;
    scratch.reset(allocate<float>(scratchFrames));
    scratchSize = scratchFrames * sizeof(float);
    silenceScratch();
    std::copy_n(blockChannels, blockChannelCount, table.get());
    reached = blockChannelCount;
    reach(alwaysThere);
}

float** Vst2Channels::reach(int32_t claimed) {
    if (claimed < 0 || claimed > capacity)
        return nullptr;
    while (reached < claimed)
        table[static_cast<size_t>(reached++)] = scratch.get();
    return table.get();
}

void Vst2Channels::silenceScratch() {
    std::memset(scratch.get(), 0, scratchSize);
}
