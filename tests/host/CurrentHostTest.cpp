// Which host answers plug-ins that call before they are known. If this fails, a plug-in that is made after
// another host of the process has ended asks for the sample rate and gets none.

#include "support/TestHost.h"

#include <gtest/gtest.h>

TEST(CurrentHostTest, TheEndOfAnEarlierHostLeavesTheLatestOneKnown) {
    Ref<PluginHost> earlier(new PluginHost(44100, 64));
    const Ref<PluginHost> latest(new PluginHost(48000, 128));
    earlier = nullptr;
    EXPECT_EQ(PluginHost::getCurrent(), latest.get());
}
