#pragma once

#include "plugins/Vst2Effect.h"
#include "support/ProcessView.h"
#include "support/Scheduling.h"

#include <plugin-host/client.hpp>

#include <cstdint>
#include <dlfcn.h>
#include <stdexcept>
#include <string>
#include <vector>

/// Plug-ins of one session, each with its next block.
class Plugins {
public:
    /// For blocks of `frames`, on the first `workers` of their host in turn.
    Plugins(plugin_host::session& session, const std::string& path, size_t count, int workers,
            uint32_t frames)
        : frames(frames), cycle(session, count) {
        for (size_t index = 0; index < count; ++index) {
            const int worker = static_cast<int>(index) % workers;
            plugins.emplace_back(session, plugin_host::plugin_options{.path = path, .worker = worker});
            plugins.back().start();
            blocks.push_back(plugins.back().block(frames));
        }
    }

    void playTogether() {
        for (plugin_host::plugin& plugin : plugins)
            plugin.begin();
        cycle.begin(blocks);
        if (!cycle.finish())
            throw std::runtime_error("A block of a cycle failed");
        expectCount(blocks.front().channels[0][0]);
    }
    void playOneByOne() {
        float count = 0;
        for (plugin_host::plugin& plugin : plugins) {
            plugin.begin();
            count = plugin.process(frames).channels[0][0];
        }
        expectCount(count);
    }

    /// This thread and all of the host run on these CPUs.
    void place(const Pinning& pinning) const {
        pinning.applyTo(0);
        for (const pid_t thread : ProcessView(plugins.front().host_info().process_id).threads())
            pinning.applyTo(thread);
    }

private:
    /// The plug-in's own.
    void expectCount(float count) {
        if (count != static_cast<float>(++played))
            throw std::runtime_error("A plug-in didn't render the block that was answered");
    }

    const uint32_t frames;
    std::vector<plugin_host::plugin> plugins;
    std::vector<plugin_host_block> blocks;
    plugin_host::cycle cycle;
    int played = 0;
};

/// The same plug-in in this process.
class DirectPlugins {
public:
    DirectPlugins(const char* path, size_t count, uint32_t frames) : frames(frames), samples(frames) {
        // Stays loaded, as its effects stay.
        void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        using Entry = AEffect* (*)(audioMasterCallback);
        const auto entry =
            library != nullptr ? reinterpret_cast<Entry>(dlsym(library, "VSTPluginMain")) : nullptr;
        if (entry == nullptr)
            throw std::runtime_error("The plug-in can't be loaded");
        for (size_t index = 0; index < count; ++index)
            effects.push_back(entry(answerNothing));
    }

    void play() {
        float* channels[] = {samples.data(), samples.data()};
        for (AEffect* effect : effects)
            effect->processReplacing(effect, channels, channels, static_cast<VstInt32>(frames));
    }

private:
    static VstIntPtr answerNothing(AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) { return 0; }

    const uint32_t frames;
    std::vector<AEffect*> effects;
    std::vector<float> samples;
};

/// Of a session whose hosts are of the tree, at a normal priority, which is part of the conditions.
inline plugin_host::session_options benchmarkOptions(int workers) {
    plugin_host::session_options result;
    result.program_32 = PLUGIN_HOST_EXECUTABLE;
    result.program_64 = PLUGIN_HOST_EXECUTABLE;
    result.worker_count = workers;
    result.cache_directory = "";
    result.log = [](plugin_host_host*, plugin_host::log_source, std::string_view) {};
    return result;
}
