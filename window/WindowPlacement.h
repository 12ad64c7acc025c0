#pragma once

#include <cstdint>
#include <vector>

/// A place on the screens, in pixels.
struct ScreenPoint {
    int32_t x;
    int32_t y;

    bool operator==(const ScreenPoint&) const = default;
};

/// A rectangle of the screens, in pixels.
struct ScreenRectangle {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;

    // 64 bits: clients may send any numbers, whose sums may exceed 32.

    int64_t right() const { return int64_t{x} + width; }
    int64_t bottom() const { return int64_t{y} + height; }
};

/// Moves a window by the least distance that brings it on a screen: on the last one that it is on, or else on
/// the first. Oddity screen-choice-asymmetric: the test differs in its two directions. A window larger than
/// its screen goes to the left and top edges. Without screens it isn't moved.
ScreenPoint placeOnScreen(const ScreenRectangle& window, const std::vector<ScreenRectangle>& screens);
