#include "app/FixedBlockPool.h"

#include <array>
#include <cstdlib>
#include <memory>

namespace {

std::array<std::unique_ptr<FixedBlockPool>, 6> memoryPools;

} // namespace

FixedBlockPool::FixedBlockPool(int blockSize, int blockCount)
    : blockCount(blockCount), blockSize(blockSize),
      storage(std::malloc(static_cast<size_t>(blockSize) * static_cast<size_t>(blockCount))),
      bitmap(static_cast<uint8_t*>(std::calloc(static_cast<size_t>(blockCount >> 3), 1))) {}

FixedBlockPool::~FixedBlockPool() {
    std::free(storage);
    std::free(bitmap);
}

void createMemoryPools() {
    constexpr struct {
        int blockSize;
        int blockCount;
    } pools[] = {{8, 4096}, {16, 4096}, {32, 64}, {64, 64}, {128, 64}, {256, 64}};
    for (size_t i = 0; i < memoryPools.size(); ++i)
        memoryPools[i] = std::make_unique<FixedBlockPool>(pools[i].blockSize, pools[i].blockCount);
}
