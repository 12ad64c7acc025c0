// A unit of the SDK, with random numbers of its own. As the program starts, the SDK makes up an identifier,
// and would seed and use those of the process for it, which plug-ins make noises with: they would sound
// different here.

#include <cstddef>
#include <cstdint>

namespace Steinberg {
namespace {

uint32_t state = 0;

// Found by the unit before the functions of the C library.

void srand(size_t seed) {
    state = static_cast<uint32_t>(seed);
}

int rand() {
    state = state * 1664525 + 1013904223;
    return static_cast<int>(state >> 16);
}

} // namespace
} // namespace Steinberg

#include <pluginterfaces/base/funknown.cpp> // NOLINT(bugprone-suspicious-include)
