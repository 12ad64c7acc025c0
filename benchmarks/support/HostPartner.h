#pragma once

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "support/BlockPartner.h"

#include <cstdint>

/// A child host with the plug-in that does nothing, started by the project's own client classes. Blocks can
/// be exchanged as soon as it is made; it is shut down with its end.
class HostPartner : public BlockPartner {
public:
    HostPartner();
    ~HostPartner() override;

    void exchange() override { context->process(context->blockSize, true, true); }
    pid_t getPid() const override { return proxy->getChildPid(); }

    /// The thread of the host that answers.
    pid_t getWorkerThread() const;
    /// What the plug-in itself has counted.
    int64_t getRenderedBlocks() const { return static_cast<int64_t>(*context->outputChannel(0)); }

private:
    Ref<RemotePluginHostProxy> proxy;
    int32_t instanceId;
    Ref<RemotePluginAudioContextProxy> context;
};
