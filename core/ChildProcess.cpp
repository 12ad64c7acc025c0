#include "core/ChildProcess.h"

#include "core/CStringArray.h"
#include "core/ChildSignals.h"
#include "core/Exception.h"
#include "core/Log.h"

#include <cerrno>
#include <csignal>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace base::core {
namespace {

// Runs in the child between `vfork` and `exec`, in the memory of the parent: allocates nothing.
[[noreturn]] void becomeProgram(char* const* arguments, char* const* environment, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGHUP, 0, 0, 0);
    resetSignals();
    // If the parent died before that call, no signal will come.
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
        kill(SIGKILL);
        waitForExit();
    }
    forgetChild();
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
    // Until the child has its descriptor: a `SIGCHLD` handler of the application may reap it.
    const BlockedSignals blocked;
    const pid_t child = vfork();
    if (child == 0)
        becomeProgram(texts.data(), environment, parent);
    // Stored only if there is a child: -1 would make `waitForExit` wait for any child.
    if (child < 0)
        throw IOException("Could not launch process");
    forgetChild();
    pid = child;
    watchChild();
}

bool ChildProcess::kill(int signal) {
    if (!isChild())
        return false;
    return (pidDescriptor >= 0 ? syscall(SYS_pidfd_send_signal, pidDescriptor, signal, nullptr, 0)
                               : ::kill(pid, signal)) == 0;
}

int ChildProcess::waitForExit() {
    if (pid == 0)
        return 0;
    int status = 0;
    // One that has ended keeps its number until it is reaped.
    if (waitForChild(WEXITED | WNOWAIT))
        waitpid(pid, &status, WNOHANG);
    const int32_t exitCode = (status >> 8) & 0xFF;
    if (exitCode != 0)
        logError("Child process with PID ", static_cast<int32_t>(pid), " exited with error code: ", exitCode);
    pid = 0;
    return status;
}

// Falls back to the pid where there is no descriptor: an old kernel, or the limit of open files.
void ChildProcess::watchChild() {
    pidDescriptor = static_cast<int32_t>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
    // Another thread may have reaped the child, and its pid may be reused already.
    if (!isChild())
        forgetChild();
}

void ChildProcess::forgetChild() {
    if (pidDescriptor >= 0)
        close(pidDescriptor);
    pidDescriptor = -1;
}

bool ChildProcess::waitForChild(int options) const {
    siginfo_t info{};
    int result = 0;
    do {
        result = pidDescriptor >= 0 ? waitid(P_PIDFD, static_cast<id_t>(pidDescriptor), &info, options)
                                    : waitid(P_PID, static_cast<id_t>(pid), &info, options);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool ChildProcess::isChild() const {
    return pid > 0 && waitForChild(WEXITED | WNOWAIT | WNOHANG);
}

} // namespace base::core
