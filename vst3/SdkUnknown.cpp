// A unit of the SDK, with random numbers of its own. At program start the SDK generates an identifier, for
// which it would seed and use the process's random numbers: plug-ins that make noise with them would sound
// different in this host.

#include <cstddef>
#include <cstdint>

namespace Steinberg {
namespace {

uint32_t state = 0;

// Found in this unit before the functions of the C library.

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
