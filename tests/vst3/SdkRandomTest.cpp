// Plug-ins make noise with the random numbers of the process. If this fails, one that doesn't seed them
// sounds different in the host from run to run, or from how it sounds elsewhere.

#include <gtest/gtest.h>

#include <cstdlib>

TEST(SdkRandom, TheProcessStartsWithTheNumbersOfTheCLibrary) {
    const int first = std::rand();
    std::srand(1);
    EXPECT_EQ(first, std::rand());
}
