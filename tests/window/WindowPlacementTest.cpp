// If these fail, an editor opens or comes back where its user can't see or reach it.

#include "window/WindowPlacement.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

const ScreenRectangle screen{0, 0, 1000, 800};
const ScreenRectangle secondScreen{1000, 0, 500, 400};

struct Case {
    const char* name;
    ScreenRectangle window;
    std::vector<ScreenRectangle> screens;
    ScreenPoint place;
};

const Case cases[] = {
    {"InTheMiddleItStays", {100, 200, 300, 400}, {screen}, {100, 200}},
    {"AtTheEdgesItStays", {700, 400, 300, 400}, {screen}, {700, 400}},
    {"PastTheRightEdgeItMovesBackJustSoFar", {701, 10, 300, 400}, {screen}, {700, 10}},
    {"FarPastTheRightEdgeItMovesBackToo", {5000, 10, 300, 400}, {screen}, {700, 10}},
    {"PastTheBottomEdgeItMovesUpJustSoFar", {10, 401, 300, 400}, {screen}, {10, 400}},
    {"LeftOfTheScreenItMovesToTheLeftEdge", {-1, 10, 300, 400}, {screen}, {0, 10}},
    {"AboveTheScreenItMovesToTheTopEdge", {10, -1, 300, 400}, {screen}, {10, 0}},
    {"WiderThanTheScreenItStandsAtTheLeftEdge", {50, 10, 1001, 400}, {screen}, {0, 10}},
    {"HigherThanTheScreenItStandsAtTheTopEdge", {50, 10, 300, 801}, {screen}, {50, 0}},
    {"WithoutAScreenItStays", {-7000, 9000, 300, 400}, {}, {-7000, 9000}},
    // Numbers that a client may choose.
    {"AtTheGreatestNumbersItMovesBackToo", {INT32_MAX, INT32_MAX, 300, 400}, {screen}, {700, 400}},
    {"AtTheLeastNumbersItMovesToTheCorner", {INT32_MIN, INT32_MIN, 300, 400}, {screen}, {0, 0}},
    {"AsLargeAsCanBeItStandsInTheCorner", {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX}, {screen}, {0, 0}},
    {"AtTheGreatestNumbersItGoesToTheFirstOfTwo",
     {INT32_MAX, INT32_MAX, 300, 400},
     {screen, secondScreen},
     {700, 400}},
    {"AtTheLeastNumbersItGoesToTheFirstOfTwo",
     {INT32_MIN, INT32_MIN, 300, 400},
     {screen, secondScreen},
     {0, 0}},
    {"WithoutAScreenItStaysAtTheGreatestNumbers",
     {INT32_MAX, INT32_MIN, 300, 400},
     {},
     {INT32_MAX, INT32_MIN}},
    {"OnTheSecondScreenItStaysThere", {1100, 10, 300, 300}, {screen, secondScreen}, {1100, 10}},
    {"MostlyOnTheSecondScreenItStaysThere", {900, 10, 300, 300}, {screen, secondScreen}, {1000, 10}},
    {"BarelyOnTheSecondScreenItIsTakenThere", {701, 10, 300, 300}, {screen, secondScreen}, {1000, 10}},
    {"OnTheFirstScreenAloneItStays", {700, 10, 300, 300}, {screen, secondScreen}, {700, 10}},
    {"OnNoScreenItGoesToTheFirst", {2000, 10, 300, 300}, {screen, secondScreen}, {700, 10}},
    // The test downwards holds for windows far above and far below a screen as well.
    {"BelowTheSecondScreenItStillChoosesIt", {1100, 700, 100, 100}, {screen, secondScreen}, {1100, 300}},
    {"AboveTheSecondScreenItChoosesItToo", {1100, -100, 100, 100}, {screen, secondScreen}, {1100, 0}},
    {"WithBothRootsAtTheOriginTheLastOneWins", {600, 100, 300, 300}, {screen, {0, 0, 640, 480}}, {340, 100}},
};

class WindowPlacementTest : public testing::TestWithParam<Case> {};

TEST_P(WindowPlacementTest, AWindowIsPlaced) {
    const ScreenPoint place = placeOnScreen(GetParam().window, GetParam().screens);
    EXPECT_EQ(place.x, GetParam().place.x);
    EXPECT_EQ(place.y, GetParam().place.y);
}

INSTANTIATE_TEST_SUITE_P(Screens, WindowPlacementTest, testing::ValuesIn(cases),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

} // namespace
