#pragma once

#include "library/AudioTest.h"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

/// Plug-ins of a session, and the blocks of a cycle of all of them.
class CycleTest : public PluginTest {
protected:
    static constexpr uint32_t frames = 256;
    static constexpr auto ok = PLUGIN_HOST_OK;
    static constexpr auto late = PLUGIN_HOST_LATE;
    static constexpr auto dead = PLUGIN_HOST_DEAD;

    /// Starts a session with so many workers in each host.
    void begin(int workers, const plugin_host::session_options& given) {
        plugin_host::session_options own = given;
        own.worker_count = workers;
        own.host_died = [this](const plugin_host::death& death) {
            log.add("died: " + death.block_path + (death.hung ? " hung" : ""));
            if (onDeath)
                onDeath();
        };
        session = std::make_unique<plugin_host::session>(own);
        cycle = std::make_unique<plugin_host::cycle>(*session, 32);
    }
    void begin(int workers = 1) { begin(workers, options()); }

    plugin_host::plugin& add(const std::string& path, int worker = 0,
                             const plugin_host::host* host = nullptr) {
        plugins.emplace_back(*session,
                             plugin_host::plugin_options{.path = path, .host = host, .worker = worker});
        plugins.back().start();
        return plugins.back();
    }

    /// Begins a block of each plug-in, and the cycle.
    void beginCycle() {
        blocks.clear();
        for (plugin_host::plugin& plugin : plugins) {
            plugin_host_plugin_begin(plugin.get(), nullptr);
            blocks.push_back(plugin.block(frames));
        }
        cycle->begin(blocks);
    }
    bool play() {
        beginCycle();
        return cycle->finish();
    }
    /// Gives the workers so long.
    bool play(std::chrono::milliseconds time) {
        beginCycle();
        return cycle->finish(std::chrono::steady_clock::now() + time);
    }

    std::vector<plugin_host_status> statuses() const {
        std::vector<plugin_host_status> all;
        for (const plugin_host_block& block : blocks)
            all.push_back(block.status);
        return all;
    }
    static pid_t processOf(const plugin_host::plugin& plugin) { return plugin.host_info().process_id; }

    /// Called with each.
    std::function<void()> onDeath;
    std::unique_ptr<plugin_host::session> session;
    std::unique_ptr<plugin_host::cycle> cycle;
    std::deque<plugin_host::plugin> plugins;
    std::vector<plugin_host_block> blocks;
};
