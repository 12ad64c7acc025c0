#pragma once

#include "library/PluginTest.h"
#include "plugins/library/BlockShown.h"

#include <algorithm>
#include <cstdint>

/// Numbers that look random, the same in each run.
class Noise {
public:
    /// -1 to 1.
    float next() {
        state = state * 1664525U + 1013904223U;
        return static_cast<float>(static_cast<int32_t>(state)) / 2147483648.0F;
    }

private:
    uint32_t state = 12345;
};

/// A started plug-in that shows its block.
class ShowingTest : public PluginTest {
protected:
    ShowingTest() { plugin.start(); }

    plugin_host::session session{options()};
    plugin_host::plugin plugin{session, {.path = testPlugin("shows-its-block.so")}};
};
