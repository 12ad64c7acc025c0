#pragma once

#include "plugin/WireRecord.h"

#include <cstdint>
#include <vector>

/// A named group of channels, for the client to show: the audio itself is addressed by channel. A channel may
/// be in several buses.
class PluginAudioBus : public Object {
public:
    static constexpr const char* wireName = "bus";

    /// Empty, for reading into.
    PluginAudioBus();
    PluginAudioBus(const String& name, const std::vector<int32_t>& channels);
    ~PluginAudioBus() override;

    String name;
    /// Indices into the instance's flat list of channels; a plug-in may name one that it doesn't have.
    std::vector<int32_t> channels;

    /// Oddity big-endian-fields: the channels and their count are big-endian.
    static constexpr auto fields() {
        return wire::fields(
            wire::string("name", &PluginAudioBus::name),
            wire::list<wire::Int32b, wire::Int32b>("channelCount", "channel", &PluginAudioBus::channels));
    }
};
