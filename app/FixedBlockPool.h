#pragma once

#include <cstddef>
#include <cstdint>

/// Memory for blocks of one size: storage and a bit for each block.
class FixedBlockPool {
public:
    FixedBlockPool(int blockSize, int blockCount);
    ~FixedBlockPool();
    FixedBlockPool(const FixedBlockPool&) = delete;
    FixedBlockPool& operator=(const FixedBlockPool&) = delete;

    int getBlockSize() const { return blockSize; }
    int getBlockCount() const { return blockCount; }

private:
    int used = 0;
    int blockCount;
    int blockSize; // bytes
    void* storage;
    uint8_t* bitmap;
    int firstFree = 0;
};

/// Makes the six pools of the process, which exit destroys. Oddity unused-memory-pools: nothing draws from
/// them.
void createMemoryPools();
