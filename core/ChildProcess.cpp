#include "core/ChildProcess.h"

#include "core/CStringArray.h"
#include "core/Exception.h"
#include "core/StdStreams.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace base::core {
namespace {

// Runs in the child between `vfork` and `exec`, in the memory of the parent: allocates nothing.
[[noreturn]] void becomeProgram(char* const* arguments, char* const* environment, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGHUP, 0, 0, 0);
    // A parent that died before that call sends no signal any more.
    if (getppid() == parent) {
        if (environment != nullptr)
            execvpe(arguments[0], arguments, environment);
        else
            execvp(arguments[0], arguments);
    }
    _exit(255);
}

} // namespace

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitForExit();
    }
}

void ChildProcess::launch(const std::vector<String>& arguments) {
    launch(arguments, static_cast<char* const*>(nullptr));
}

void ChildProcess::launch(const std::vector<String>& arguments, const Environment& environment) {
    CStringArray entries;
    for (const auto& [name, value] : environment)
        entries.add(std::string(name).append("=").append(value));
    launch(arguments, entries.data());
}

void ChildProcess::launch(const std::vector<String>& arguments, char* const* environment) {
    const CStringArray texts(arguments);
    const pid_t parent = getpid();
    const pid_t child = vfork();
    if (child == 0)
        becomeProgram(texts.data(), environment, parent);
    // Kept only if it is a child: -1 would make `waitForExit` wait for whatever child there is.
    if (child < 0)
        throw IOException("Could not launch process");
    pid = child;
}

int ChildProcess::waitForExit() {
    if (pid == 0)
        return 0;
    int status = 0;
    waitpid(pid, &status, 0);
    const int32_t exitCode = (status >> 8) & 0xFF;
    if (exitCode != 0)
        standardError().printLine(concat("Child process with PID ", static_cast<int32_t>(pid),
                                         " exited with error code: ", exitCode));
    pid = 0;
    return status;
}

} // namespace base::core
