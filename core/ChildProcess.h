#pragma once

#include "core/Object.h"
#include "core/Shared.h"
#include "core/String.h"

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace base::core {

/// A child process. The kernel sends it `SIGHUP` when the thread that launched it ends, so launch it on a
/// thread that outlives it. Releasing the object kills and reaps the child, but not in a fork of this
/// process. One thread at a time, except for `kill`.
///
/// An application may reap children that aren't its own. The child then counts as ended here, and a process
/// that reuses its pid gets no signal.
class ChildProcess : public Object {
public:
    /// Names and values are bytes, one to a code point.
    using Environment = std::map<std::string, std::string>;

    ChildProcess();
    ~ChildProcess() override;

    /// Starts `arguments[0]`, looked up on the `PATH`, with the inherited environment. A program that can't
    /// be executed is no failure here: its child exits at once with 255. The program starts with no signal
    /// blocked and with the default action of `SIGHUP`. Throws `IOException`.
    void launch(const std::vector<String>& arguments);
    /// The same with exactly `environment`.
    void launch(const std::vector<String>& arguments, const Environment& environment);

    /// Sends a signal. False without a child. Any thread, but not during a `launch`.
    bool kill(int signal);

    /// Blocks until the child has ended and returns its raw status, as `waitpid` gives it; 0 without a child,
    /// or if it was reaped elsewhere. An exit code other than 0 is logged.
    int waitForExit();

    /// 0 while there is no child.
    pid_t getPid() const { return pid; }

private:
    void launch(const std::vector<String>& arguments, char* const* environment);
    void watchChild();
    void forgetChild();
    /// `waitid` on the child; false if it isn't, or is no longer, a child of this process.
    bool waitForChild(int options) const;
    bool isChild() const;

    Relaxed<pid_t> pid{0};
    /// A pidfd, which stays valid when the pid is reused; -1 where the kernel has none.
    int32_t pidDescriptor = -1;
};

} // namespace base::core
