// What texts give back. If these fail, a process grows with each line that it writes.

#include "core/String.h"
#include "support/HeapInUse.h"

#include <gtest/gtest.h>

using namespace test_support;

// Sanitizers have an allocator, and a search for leaks, of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

constexpr int rounds = 1000;

/// By how much the heap grows where `action` runs often.
template <class Action>
ptrdiff_t growthBy(const Action& action) {
    action();
    const auto before = static_cast<ptrdiff_t>(heapInUse());
    for (int i = 0; i < rounds; ++i)
        action();
    return static_cast<ptrdiff_t>(heapInUse()) - before;
}

} // namespace

namespace base::core {

TEST(ReleasedMemoryTest, ATextThatGoesTakesItsCharactersWithIt) {
    EXPECT_LT(growthBy([] {
                  const String text("forty-two characters, or nearly so many");
                  const String copy(text);
              }),
              rounds);
}

TEST(ReleasedMemoryTest, ABuilderThatHasGrownKeepsOneBufferAndTakesItWithIt) {
    EXPECT_LT(growthBy([] {
                  StringBuilder builder;
                  for (int i = 0; i < 800; ++i)
                      builder.append("ten of them");
                  EXPECT_GT(builder.capacity(), 8192u) << "it hasn't grown twice";
              }),
              rounds);
}

} // namespace base::core

#endif
