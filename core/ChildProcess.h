#pragma once

#include "core/Object.h"
#include "core/String.h"

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace base::core {

/// Another program that this one started, and whose life is tied to this one's: the kernel ends it by
/// `SIGHUP` when the thread that launched it ends, so it is launched on a thread that outlives it. Releasing
/// the object kills and reaps it. One thread at a time.
class ChildProcess : public Object {
public:
    /// Names and values are bytes, one to a code point.
    using Environment = std::map<std::string, std::string>;

    ChildProcess();
    ~ChildProcess() override;

    /// Starts `arguments[0]`, looked up on the `PATH`, with the inherited environment. A program that can't
    /// be executed isn't seen here: such a child leaves at once with the exit code 255. Throws `IOException`.
    void launch(const std::vector<String>& arguments);
    /// The same with exactly `environment`.
    void launch(const std::vector<String>& arguments, const Environment& environment);

    /// Blocks until the child has ended and returns the raw status of `waitpid`; 0 at once if there is no
    /// child. An exit code other than 0 is told on the standard error stream.
    int waitForExit();

    /// 0 while there is no child.
    pid_t getPid() const { return pid; }

private:
    void launch(const std::vector<String>& arguments, char* const* environment);

    pid_t pid = 0;
};

} // namespace base::core
