#pragma once

#include <cstdlib>
#include <fstream>

/// Tells whoever tests this plug-in that it hangs from here on: makes the file that turns the tester's clock,
/// if the tester has named one.
inline void turnClock() {
    if (const char* turn = std::getenv("SELF_TEST_CLOCK_TURN"))
        std::ofstream(turn) << "an hour";
}
