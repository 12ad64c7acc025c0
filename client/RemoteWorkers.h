#pragma once

#include "client/AudioThreadProxy.h"
#include "client/HostIdClaim.h"
#include "client/PluginHostProxy.h"

#include <cstdint>
#include <vector>

/// What audio contexts need of a host in a process of its own: its number, its block size and its workers.
/// Implemented by `RemotePluginHostProxy` alone.
class RemoteWorkers : public PluginHostProxy {
public:
    ~RemoteWorkers() override;

    /// In frames.
    int32_t getBlockSize() const { return blockSize; }
    int32_t getHostId() const { return hostId; }
    /// Throws `std::out_of_range`.
    AudioThreadProxy& getAudioThread(int32_t index) const {
        return *audioThreadProxies.at(static_cast<size_t>(index));
    }

protected:
    /// Throws `IOException`.
    explicit RemoteWorkers(int32_t blockSize);

    /// Before what uses the id, here and in the proxy: ends after the host and all of its pipes.
    HostIdClaim hostIdClaim;
    const int32_t blockSize;
    const int32_t hostId;
    std::vector<Ref<AudioThreadProxy>> audioThreadProxies;
};
