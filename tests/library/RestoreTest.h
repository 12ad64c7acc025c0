#pragma once

#include "library/CycleTest.h"

#include <chrono>
#include <csignal>
#include <string>
#include <string_view>

/// Plug-ins that come back. Their states are kept on request alone.
class RestoreTest : public CycleTest {
protected:
    plugin_host::session_options restoring() {
        plugin_host::session_options result = options();
        result.restore = true;
        result.state_interval = std::chrono::milliseconds(-1);
        return result;
    }

    plugin_host::plugin& addRestored(const std::string& path, const plugin_host::host* host = nullptr,
                                     const std::string& identifier = {}) {
        const std::string name = "restored " + std::to_string(plugins.size());
        plugin_host::plugin_options given{.path = path, .identifier = identifier, .host = host};
        given.events.restored = [this, name](plugin_host_status status, std::string_view text) {
            log.add(status == ok ? name : name + ": " + std::string(text));
        };
        plugins.emplace_back(*session, std::move(given));
        plugins.back().start();
        return plugins.back();
    }
    bool isRestored(size_t index, size_t times = 1) const {
        return log.waitFor("restored " + std::to_string(index), times);
    }
    void killHostOf(const plugin_host::plugin& plugin) { kill(processOf(plugin), SIGKILL); }
    /// Plays until the host of a plug-in is seen to be gone.
    bool isDead(size_t index) {
        return test_support::eventually([&] {
            play();
            return blocks[index].status == dead;
        });
    }

    static float valueOf(plugin_host::plugin& plugin) { return plugin.refresh().parameters[0].value; }
    /// By a block.
    static void setValue(plugin_host::plugin& plugin, float value) {
        plugin.begin();
        EXPECT_TRUE(plugin.add_change(0, value));
        plugin.process(frames);
    }
};
