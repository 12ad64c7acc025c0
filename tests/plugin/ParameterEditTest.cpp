// If these fail, a change by the client moves the control that the user is holding in an editor, or one that
// the user has let go of no longer takes any change.

#include "plugin/ParameterEdit.h"

#include <gtest/gtest.h>

#include <thread>

TEST(ParameterEditTest, NothingIsHeldAtFirst) {
    const ParameterEdit edit;
    EXPECT_EQ(edit.getHeld(), std::nullopt);
    EXPECT_FALSE(edit.holds(0));
}

TEST(ParameterEditTest, AParameterIsHeldFromItsBeginToItsEnd) {
    ParameterEdit edit;
    edit.begin(0);
    EXPECT_TRUE(edit.holds(0));
    EXPECT_FALSE(edit.holds(1));
    EXPECT_EQ(edit.getHeld(), 0);
    edit.end(0);
    EXPECT_FALSE(edit.holds(0));
    EXPECT_EQ(edit.getHeld(), std::nullopt);
}

TEST(ParameterEditTest, TheFirstOfOverlappingEditsIsTheOneThatCounts) {
    ParameterEdit edit;
    edit.begin(3);
    edit.begin(5);
    EXPECT_TRUE(edit.holds(3));
    EXPECT_FALSE(edit.holds(5));
    edit.end(5);
    EXPECT_TRUE(edit.holds(3)) << "ended by the end of another edit";
    edit.end(3);
    EXPECT_EQ(edit.getHeld(), std::nullopt) << "the second edit has taken the place of the first";
}

TEST(ParameterEditTest, AnEditThatBeginsTwiceEndsOnce) {
    ParameterEdit edit;
    edit.begin(3);
    edit.begin(3);
    edit.end(3);
    EXPECT_FALSE(edit.holds(3));
}

TEST(ParameterEditTest, AnEndWithoutABeginChangesNothing) {
    ParameterEdit edit;
    edit.end(3);
    edit.begin(4);
    edit.end(3);
    EXPECT_EQ(edit.getHeld(), 4);
}

TEST(ParameterEditTest, AnEditOfAnotherThreadCounts) {
    ParameterEdit edit;
    std::thread([&] { edit.begin(7); }).join();
    EXPECT_TRUE(edit.holds(7));
}
