#pragma once

#include "core/Guarded.h"
#include "core/Thread.h"

#include <cstdint>

class RemotePluginHostProxy;

/// Reads a host's asynchronous replies and notifications, and calls the receiver of each on this thread.
/// Owned by the proxy, which ends it by closing the pipe. Notices the death of a host between two calls.
class RemotePluginHostProxyAsyncReplyThread : public base::core::Thread {
public:
    explicit RemotePluginHostProxyAsyncReplyThread(RemotePluginHostProxy* proxy);
    ~RemotePluginHostProxyAsyncReplyThread() override;

    /// Waits until the thread's body has ended; false if it hasn't after `seconds`.
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
