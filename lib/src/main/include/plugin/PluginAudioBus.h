#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <vector>

/// A named group of channels, for the client to show: the audio itself is addressed by channel. A channel may
/// stand in several buses.
class PluginAudioBus : public Object {
public:
    PluginAudioBus(const String& name, const std::vector<int32_t>& channels);
    ~PluginAudioBus() override;

    String name;
    /// Indices into the instance's flat list of channels; a plug-in may name one that it doesn't have.
    std::vector<int32_t> channels;
};
