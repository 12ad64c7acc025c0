#pragma once

#include "core/Object.h"
#include "core/Shared.h"
#include "core/String.h"

#include <map>
#include <optional>
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

    /// A program whose streams its parent gives.
    struct Program {
        /// The program, which is looked up on the `PATH` unless it has a "/", and what it gets; bytes.
        std::vector<std::string> arguments;
        Environment environment;
        /// Becomes the standard input; above 2.
        int32_t input;
        /// Becomes the standard output and the standard error stream; above 2.
        int32_t output;
    };
    /// Starts a program in a session of its own, without a terminal, where `killSession` reaches what it
    /// starts. Otherwise as above, but the message of the `IOException` is the system's own words.
    void launchInSession(const Program& program);

    /// Sends a signal. False without a child. Any thread, but not during a `launch`.
    bool kill(int signal);
    /// Kills a child of `launchInSession` with all that it has started, except what has left its process
    /// group. No effect without a child; one that has ended counts until it is reaped.
    void killSession();

    /// Becomes readable when the child ends; -1 without a child and where the kernel has no pidfd.
    int32_t getEndDescriptor() const { return pidDescriptor; }
    /// Whether the child has ended, or there is none.
    bool hasEnded() const;

    /// Blocks until the child has ended and returns its raw status; no value without a child, or if it was
    /// reaped elsewhere. Logs nothing.
    std::optional<int> reap();
    /// Why the program of `launchInSession` could not be executed: an `errno`, 0 if it was. Call it after
    /// `reap`.
    int32_t getStartFailure();

    /// Blocks until the child has ended and returns its raw status, as `waitpid` gives it; 0 without a child,
    /// or if it was reaped elsewhere. An exit code other than 0 is logged.
    int waitForExit();

    /// 0 while there is no child.
    pid_t getPid() const { return pid; }

private:
    struct Start;

    void launch(const std::vector<String>& arguments, char* const* environment);
    /// False, with `errno`, if there is no child.
    bool start(const Start& start);
    void watchChild();
    void forgetChild();
    void closeFailureReader();
    /// `waitid` on the child; false if it isn't, or is no longer, a child of this process. `ended`, if given,
    /// is set to whether it has ended.
    bool waitForChild(int options, bool* ended = nullptr) const;
    bool isChild() const;

    Relaxed<pid_t> pid{0};
    /// A pidfd, which stays valid when the pid is reused; -1 where the kernel has none.
    int32_t pidDescriptor = -1;
    /// The end of the pipe that a failed `exec` writes its `errno` to; -1 if there is none.
    int32_t failureReader = -1;
};

} // namespace base::core
