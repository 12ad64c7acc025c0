#include "ChainPlugin.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

ChainPlugin::ChainPlugin(plugin_host::session& session, const PluginChoice& choice, const Restored& restored)
    : choice(choice), restored(restored),
      plugin(session, {.path = choice.path,
                       .identifier = choice.identifier,
                       .preset_path = fs::exists(choice.preset) ? choice.preset : "",
                       .events = {.parameter_changed =
                                      [this](uint32_t index, float value) {
                                          changes.push({index, std::clamp(value, 0.0F, 1.0F)});
                                      },
                                  .parameters_changed = [this] { hasChanged = true; },
                                  .restored = [this](plugin_host::status code,
                                                     std::string_view text) { noteReturn(code, text); }}}),
      description(plugin.describe()), latency(std::max(description.latency, 0)) {
    plugin_host::check(plugin_host_plugin_get_host(plugin.get(), &host));
    plugin.start();
}

std::string ChainPlugin::getName() const {
    return description.name.empty() ? fs::path(choice.path).stem().string() : description.name;
}

bool ChainPlugin::isIn(const plugin_host::death& death) const noexcept {
    return death.host == host || death.block_plugin == plugin.get() || death.request_plugin == plugin.get();
}

bool ChainPlugin::comeBack(Clock::time_point now) {
    away = true;
    if (isGone || !limit.allows(now)) {
        isGone = true;
        // The object stays: the audio thread uses its handle, which is invalid from now on.
        plugin_host_plugin_destroy(plugin.get());
        return false;
    }
    // Result ignored: one that wasn't to blame may be back already.
    plugin_host_plugin_restore(plugin.get());
    return true;
}

void ChainPlugin::noteReturn(plugin_host::status code, std::string_view text) {
    if (code == PLUGIN_HOST_OK)
        plugin_host_plugin_get_host(plugin.get(), &host);
    hasChanged = true;
    if (restored && !isGone)
        restored(*this, code, text);
    away = code != PLUGIN_HOST_OK;
}

void ChainPlugin::followChanges() {
    if (away || !std::exchange(hasChanged, false))
        return;
    // The channels of its audio stay those of its creation.
    latency = std::max(plugin.describe().latency, 0);
}

void ChainPlugin::savePreset() {
    if (isGone)
        throw std::runtime_error("its host has died too often");
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
    else if (newStatus != PLUGIN_HOST_OK)
        midi.clear(); // in another host none of the notes before is on
    status.store(newStatus, std::memory_order_relaxed);
}
