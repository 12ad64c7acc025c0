#pragma once

#include "core/Object.h"
#include "core/Shared.h"
#include "core/String.h"

#include <csignal>
#include <cstdint>
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

    /// A program, and what its parent gives it.
    struct Program {
        /// The program, which is looked up on the `PATH` unless it has a "/", and what it gets; bytes.
        std::vector<std::string> arguments;
        /// None: the inherited one.
        std::optional<Environment> environment;
        /// Descriptors above 2 that become its standard streams, and stay the caller's; -1: the inherited
        /// one.
        int32_t input = -1;
        int32_t output = -1;
        int32_t error = -1;
        /// In a session of its own, without a terminal, where `killSession` reaches what it starts.
        bool inSession = false;
        /// In a process group of its own, which the keys of the terminal send no signal to.
        bool inGroup = false;
    };
    /// Starts a program as above, but the message of the `IOException` is the system's own words.
    void launch(const Program& program);
    /// Why the program of the last `launch` could not be executed: an `errno`; 0 if it was.
    int32_t getExecError() const { return execError; }

    /// Sends a signal. False without a child. Any thread, but not during a `launch`.
    bool kill(int signal);
    /// Kills a child in a session of its own with all that it has started, except what has left its process
    /// group. No effect without a child; one that has ended counts until it is reaped.
    void killSession();

    /// Becomes readable when the child ends; -1 without a child and where the kernel has no pidfd.
    int32_t getEndDescriptor() const { return pidDescriptor; }
    /// Whether the child has ended, or there is none.
    bool hasEnded() const;

    /// Blocks until the child has ended and returns its raw status; no value without a child, or if it was
    /// reaped elsewhere. Logs nothing.
    std::optional<int> reap();
    /// The same without waiting and reaping: no value while the child runs. Any thread, but not during a
    /// `launch`, `reap` or `waitForExit`.
    std::optional<int> peekStatus() const;

    /// Blocks until the child has ended and returns its raw status, as `waitpid` gives it; 0 without a child,
    /// or if it was reaped elsewhere. An exit code other than 0 is logged.
    int waitForExit();

    /// 0 while there is no child.
    pid_t getPid() const { return pid; }

private:
    struct Start;

    void launch(const std::vector<String>& arguments, char* const* environment);
    /// False, with `errno`, if there is no child.
    bool start(Start& start);
    void watchChild();
    void forgetChild();
    /// `waitid` on the child; false if it isn't, or is no longer, a child of this process.
    bool waitForChild(int options) const;
    bool waitForChild(int options, siginfo_t& info) const;
    bool isChild() const;

    Relaxed<pid_t> pid{0};
    /// A pidfd, which stays valid when the pid is reused; -1 where the kernel has none.
    int32_t pidDescriptor = -1;
    int32_t execError = 0;
};

/// A raw status of `waitpid` in words: "ended with status 1", "was ended by signal 11 (Segmentation fault)".
String describeStatus(int status);

} // namespace base::core
