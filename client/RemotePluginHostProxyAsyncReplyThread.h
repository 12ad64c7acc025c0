#pragma once

#include "core/Guarded.h"
#include "core/Thread.h"

#include <cstdint>

class RemotePluginHostProxy;

/// Reads what a host sends unasked and hands each frame to its receiver, on this thread. Owned by the proxy,
/// which ends it by closing the pipe. The death of a host between two calls is found here.
class RemotePluginHostProxyAsyncReplyThread : public base::core::Thread {
public:
    explicit RemotePluginHostProxyAsyncReplyThread(RemotePluginHostProxy* proxy);
    ~RemotePluginHostProxyAsyncReplyThread() override;

    /// Waits for the end of the body; false if it hasn't come after `seconds`.
    bool waitForEnd(double seconds);

protected:
    void run() override;

private:
    void readFrames();
    void readFrame();
    void readNotificationFrame();
    void readReplyFrame(int32_t requestId);

    RemotePluginHostProxy* proxy;
    base::core::Condition endReached;
    base::core::Guarded<bool> ended{false};
};
