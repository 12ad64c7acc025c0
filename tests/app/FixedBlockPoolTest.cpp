// Memory for blocks of one size. If this fails, a program that draws from a pool writes beyond it.

#include "app/FixedBlockPool.h"

#include <gtest/gtest.h>

TEST(FixedBlockPoolTest, APoolHasTheBlocksThatItWasMadeWith) {
    const FixedBlockPool pool(16, 4096);
    EXPECT_EQ(pool.getBlockSize(), 16);
    EXPECT_EQ(pool.getBlockCount(), 4096);
}
