#pragma once

#include "core/Object.h"
#include "core/Shared.h"
#include "core/String.h"

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace base::core {

/// Another program that this one started, and whose life is tied to this one's: the kernel ends it by
/// `SIGHUP` when the thread that launched it ends, so it is launched on a thread that outlives it. Releasing
/// the object kills and reaps it; in a process that this one has forked, it does neither. One thread at a
/// time, but for `kill`.
///
/// An application may reap the children of all its parts. The child is then gone for this object too, and a
/// process that has got its number is left alone.
class ChildProcess : public Object {
public:
    /// Names and values are bytes, one to a code point.
    using Environment = std::map<std::string, std::string>;

    ChildProcess();
    ~ChildProcess() override;

    /// Starts `arguments[0]`, looked up on the `PATH`, with the inherited environment. A program that can't
    /// be executed isn't seen here: such a child leaves at once with the exit code 255. The program starts
    /// with no signal blocked and with the default action of `SIGHUP`. Throws `IOException`.
    void launch(const std::vector<String>& arguments);
    /// The same with exactly `environment`.
    void launch(const std::vector<String>& arguments, const Environment& environment);

    /// Sends a signal. False if there is no child to get it. Any thread, but not during a `launch`.
    bool kill(int signal);

    /// Blocks until the child has ended and returns its raw status, as `waitpid` gives it; 0 at once if there
    /// is no child, and 0 for one that somebody else has reaped. An exit code other than 0 is logged.
    int waitForExit();

    /// 0 while there is no child.
    pid_t getPid() const { return pid; }

private:
    void launch(const std::vector<String>& arguments, char* const* environment);
    void watchChild();
    void forgetChild();
    /// `waitid` on the child; false if it isn't one of this process, or no more.
    bool waitForChild(int options) const;
    bool isChild() const;

    Relaxed<pid_t> pid{0};
    /// Names the child whatever becomes of its number; -1 where the system can't.
    int32_t pidDescriptor = -1;
};

} // namespace base::core
