#pragma once

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "plugin/PluginInstanceState.h"
#include "support/BlockPartner.h"

#include <cstdint>

/// A child host with the plug-in that does nothing, started by the project's client classes. Ready for blocks
/// once constructed; shut down by the destructor.
class HostPartner : public BlockPartner {
public:
    explicit HostPartner(const char* plugin = DOES_NOTHING_PLUGIN);
    ~HostPartner() override;

    void exchange() override { context->process(context->blockSize, true, true); }
    pid_t getPid() const override { return proxy->getChildPid(); }
    /// Has the host query the plug-in.
    Ref<PluginInstanceState> snapshot();

    /// The thread of the host that answers.
    pid_t getWorkerThread() const;
    /// The plug-in's own count.
    int64_t getRenderedBlocks() const { return static_cast<int64_t>(*context->outputChannel(0)); }

private:
    Ref<RemotePluginHostProxy> proxy;
    int32_t instanceId;
    Ref<RemotePluginAudioContextProxy> context;
};
