// Editors on a server with several screens, which stand side by side or, as here, all begin at the same
// corner. If these fail, an editor that the user keeps on the second screen comes back on the first.

#include "editors/EditorTest.h"
#include "support/OwnXServer.h"

using namespace test_support;

namespace {

class TwoScreens {
protected:
    OwnXServer server{{"640x480x24", "800x600x24"}};
};

class TwoScreensTest : private TwoScreens, public EditorTest {
protected:
    TwoScreensTest() {
        EXPECT_TRUE(server.isUp) << "no X server within 10 s";
        load("plain-editor.so");
    }

    WindowRectangle openAt(int32_t x, int32_t y) {
        place(x, y, -1, -1);
        open();
        return windowSize();
    }
};

} // namespace

TEST_F(TwoScreensTest, AWindowThatOnlyTheSecondHasIsMovedJustSoFarThatItFitsThere) {
    EXPECT_EQ(openAt(700, 550), (WindowRectangle{600, 480, 200, 120}));
}

TEST_F(TwoScreensTest, AWindowThatBothHaveKeepsToTheLast) {
    EXPECT_EQ(openAt(500, 400), (WindowRectangle{500, 400, 200, 120}));
}

TEST_F(TwoScreensTest, AWindowThatNoneHasIsMovedOntoTheFirst) {
    EXPECT_EQ(openAt(900, 900), (WindowRectangle{440, 360, 200, 120}));
}

TEST_F(TwoScreensTest, WindowsAreMadeOnTheFirst) {
    openAt(700, 550);
    EXPECT_EQ(client.parent(window()), client.root);
}
