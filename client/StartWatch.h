#pragma once

#include "client/HostOptions.h"
#include "core/Exception.h"
#include "core/Guarded.h"
#include "core/NamedPipe.h"
#include "core/Thread.h"

#include <memory>
#include <optional>
#include <vector>

/// Watches a host that starts, while its client is blocked in opening the pipes: once the child has ended,
/// the time is over or the start is cancelled, it opens the other ends itself, which wakes the client.
class StartWatch : public base::core::NonCopyable, public base::core::NonMovable {
public:
    /// From the launch of `child` on, which is borrowed, as are `options`.
    StartWatch(const base::core::ChildProcess& child, const HostOptions& options,
               const std::vector<Ref<base::core::NamedServerPipe>>& pipes);
    /// Ends the watch.
    ~StartWatch();

    /// After each opening: throws `StartException` if the start has failed.
    void check() const;

private:
    class WatchThread;

    const Ref<WatchThread> thread;
};

/// A host didn't come up.
class StartException : public base::core::IOException {
public:
    enum class Reason { ended, timedOut, cancelled };

    StartException(Reason reason, const String& message);
    ~StartException() override;
    base::core::Exception* clone() const override;

    const Reason reason;
};
