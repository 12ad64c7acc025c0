// The environment names the user's pipes and blocks: a wrong value, and two processes never meet.

#include "core/Environment.h"

#include "support/FailureText.h"
#include "support/ScopedEnvironment.h"

#include "core/Exception.h"

#include <gtest/gtest.h>

using namespace base::core;
using namespace test_support;

namespace {

constexpr char variable[] = "PLUGIN_HOST_TEST_VARIABLE";

TEST(EnvironmentTest, AVariableIsReadAsUtf8) {
    const ScopedEnvironment environment(variable, "caf\xC3\xA9");
    bool found = false;
    const String value = getEnvironmentVariable(variable, &found);
    EXPECT_TRUE(found);
    ASSERT_EQ(value.length(), 4);
    EXPECT_EQ(value[3], U'\u00E9');
}

TEST(EnvironmentTest, AnUnsetVariableIsTheEmptyText) {
    const ScopedEnvironment environment(variable, nullptr);
    bool found = true;
    EXPECT_TRUE(getEnvironmentVariable(variable, &found).isEmpty());
    EXPECT_FALSE(found);
}

TEST(EnvironmentTest, AnEmptyVariableIsFoundAndEmpty) {
    const ScopedEnvironment environment(variable, "");
    bool found = false;
    EXPECT_TRUE(getEnvironmentVariable(variable, &found).isEmpty());
    EXPECT_TRUE(found);
}

TEST(EnvironmentTest, WhoDoesNotAskWhetherItWasFoundGetsTheValueAlone) {
    const ScopedEnvironment environment(variable, "x");
    EXPECT_EQ(getEnvironmentVariable(variable).toStdString(), "x");
}

TEST(EnvironmentTest, AValueThatIsNoTextIsAFailure) {
    const ScopedEnvironment environment(variable, "\xFF");
    EXPECT_EQ(failureText<IOException>([] { getEnvironmentVariable(variable); }), "Invalid UTF8 encoding");
}

} // namespace
