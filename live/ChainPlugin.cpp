#include "ChainPlugin.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace fs = std::filesystem;

ChainPlugin::ChainPlugin(plugin_host::session& session, const PluginChoice& choice)
    : choice(choice),
      plugin(session, {.path = choice.path,
                       .identifier = choice.identifier,
                       .preset_path = fs::exists(choice.preset) ? choice.preset : "",
                       .events = {.parameter_changed =
                                      [this](uint32_t index, float value) {
                                          changes.push({index, std::clamp(value, 0.0F, 1.0F)});
                                      },
                                  .parameters_changed = [this] { hasChanged = true; }}}),
      description(plugin.describe()), latency(std::max(description.latency, 0)) {
    plugin_host::check(plugin_host_plugin_get_host(plugin.get(), &host));
    plugin.start();
}

std::string ChainPlugin::getName() const {
    return description.name.empty() ? fs::path(choice.path).stem().string() : description.name;
}

void ChainPlugin::followChanges() {
    if (!std::exchange(hasChanged, false))
        return;
    // The channels of its audio stay those of its creation.
    latency = std::max(plugin.describe().latency, 0);
}

void ChainPlugin::savePreset() {
    // A link stays, and its target is replaced.
    const fs::path target = fs::weakly_canonical(choice.preset);
    const fs::path fresh = target.string() + ".new";
    try {
        plugin.save_preset(fresh);
        fs::rename(fresh, target);
    } catch (...) {
        std::error_code ignored;
        fs::remove(fresh, ignored);
        throw;
    }
}

bool ChainPlugin::begin(const AudioSource& input, const plugin_host_transport& transport,
                        uint32_t frames) noexcept {
    plugin_host_input block{};
    block.size = sizeof block;
    const plugin_host::status began = plugin_host_plugin_begin(plugin.get(), &block);
    if (began != PLUGIN_HOST_OK) {
        note(began);
        return false;
    }
    copyAudio(input, {block.channels, block.channel_count}, 0, frames);
    plugin_host_plugin_set_transport(plugin.get(), &transport);
    changes.take([this](const ParameterChanges::Change& change) {
        return plugin_host_plugin_add_change(plugin.get(), change.index, change.value, 0) != PLUGIN_HOST_FULL;
    });
    midi.deliver(plugin.get());
    return true;
}

AudioSource ChainPlugin::end(const plugin_host_block& block, const AudioSource& input,
                             Clock::duration time) noexcept {
    note(block.status);
    if (block.status != PLUGIN_HOST_OK)
        return bypass(input);
    // Falls by half in about a hundred blocks.
    reserve = std::max(2 * time, reserve - reserve / 128);
    return {{block.channels, block.channel_count}, 0};
}

AudioSource ChainPlugin::bypass(const AudioSource& input) const noexcept {
    return isInstrument() ? AudioSource{} : input;
}

void ChainPlugin::note(plugin_host::status newStatus) noexcept {
    if (newStatus == PLUGIN_HOST_LATE)
        late.fetch_add(1, std::memory_order_relaxed);
    // A host that has come back: none of the notes before is on.
    if (newStatus == PLUGIN_HOST_DEAD)
        midi.clear();
    if (newStatus == PLUGIN_HOST_INVALID_STATE)
        plugin_host_plugin_start(plugin.get());
    status.store(newStatus, std::memory_order_relaxed);
}
