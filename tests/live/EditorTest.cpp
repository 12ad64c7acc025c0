// Editors of the live program, on an X server of the test's own. If these fail, a musician can't turn a
// plug-in's knobs, or not after its host has died.

#include "live/LiveTest.h"
#include "support/WindowReader.h"

using namespace test_support;

namespace {

class EditorTest : public LiveTest {
protected:
    /// A window of this title that can be seen.
    bool shows(const std::string& title) {
        for (const uint32_t window : reader.children(reader.root)) {
            if (reader.property(window, "WM_NAME").bytes == title && reader.isViewable(window))
                return true;
        }
        return false;
    }

    const OwnXServer screen;
    WindowReader reader;
};

} // namespace

TEST_F(EditorTest, EachPluginThatHasOneShowsItUntilTheEnd) {
    startServer();
    startLive({"--editor", "--identifier", upsideDown, examplePlugin("trio.so"), examplePlugin("echo.so"),
               examplePlugin("tone.vst3")});
    EXPECT_TRUE(eventually([&] { return shows("Echo") && shows("Tone"); }));
    EXPECT_FALSE(shows("Upside Down"));
    EXPECT_EQ(endLive(), 0);
    EXPECT_THAT(live->error, testing::HasSubstr("plugin-host-live: Upside Down has no editor\n"));
    EXPECT_TRUE(eventually([&] { return !shows("Echo") && !shows("Tone"); }));
}

TEST_F(EditorTest, WithoutTheOptionThereIsNone) {
    startServer();
    startLive({examplePlugin("echo.so")});
    EXPECT_EQ(endLive(), 0);
    EXPECT_FALSE(shows("Echo"));
}

TEST_F(EditorTest, ItOpensAgainAsThePluginComesBack) {
    startServer();
    gateHosts(1);
    startLive({"--editor", examplePlugin("echo.so")});
    ASSERT_TRUE(eventually([&] { return shows("Echo"); }));
    kill(hosts().at(0), SIGKILL);
    EXPECT_TRUE(eventually([&] { return !shows("Echo"); }));
    openGate();
    EXPECT_TRUE(eventually([&] { return shows("Echo"); }));
    EXPECT_EQ(endLive(), 0);
}
