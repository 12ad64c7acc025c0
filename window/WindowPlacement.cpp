#include "window/WindowPlacement.h"

#include <algorithm>

namespace {

bool isOn(const ScreenRectangle& window, const ScreenRectangle& screen) {
    const bool overlapsAcross = std::min(window.right(), screen.right()) > std::max(window.x, screen.x);
    // Oddity screen-choice-asymmetric: the smaller of the top edges, where the test across takes the larger
    // of the left ones.
    const bool overlapsDown = std::min(window.bottom(), screen.bottom()) > std::min(window.y, screen.y);
    return overlapsAcross && overlapsDown;
}

// The left and top edges take precedence over the right and bottom ones.
int32_t clampInto(int32_t position, int64_t end, int32_t screenPosition, int64_t screenEnd) {
    const int64_t beyond = std::max(end - screenEnd, int64_t{0});
    return static_cast<int32_t>(std::max(position - beyond, int64_t{screenPosition}));
}

} // namespace

ScreenPoint placeOnScreen(const ScreenRectangle& window, const std::vector<ScreenRectangle>& screens) {
    if (screens.empty())
        return {window.x, window.y};
    const ScreenRectangle* chosen = &screens.front();
    for (const ScreenRectangle& screen : screens) {
        if (isOn(window, screen))
            chosen = &screen; // the last that passes
    }
    return {clampInto(window.x, window.right(), chosen->x, chosen->right()),
            clampInto(window.y, window.bottom(), chosen->y, chosen->bottom())};
}
