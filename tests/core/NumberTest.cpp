// Numbers on the command line: a host that misreads its sample rate or its id talks to nobody.

#include "core/Exception.h"
#include "core/Number.h"

#include <gtest/gtest.h>

using namespace base::core;

TEST(NumberTest, ParseIntAcceptsBlanksAroundTheNumberAndAfterItsSign) {
    EXPECT_EQ(parseInt(" - 12 "), -12);
}
