#include "core/ChildProcess.h"

#include "core/CStringArray.h"
#include "core/ChildSignals.h"
#include "core/Exception.h"
#include "core/FileDescriptor.h"
#include "core/Log.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace base::core {

/// What the child needs to become the program.
struct ChildProcess::Start {
    char* const* arguments;
    /// Null: the inherited one.
    char* const* environment;
    const pid_t parent = getpid();
    /// With a session of its own the child gets the streams, and reports a failure of `exec`.
    bool inSession = false;
    int32_t input = -1;
    int32_t output = -1;
    int32_t failureWriter = -1;

    // Runs in the child between `vfork` and `exec`, in the memory of the parent: allocates nothing.
    [[noreturn]] void becomeProgram() const {
        prctl(PR_SET_PDEATHSIG, SIGHUP, 0, 0, 0);
        if (inSession) {
            setsid();
            dup2(input, STDIN_FILENO);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
        }
        resetSignals();
        // If the parent died before that call, no signal will come.
        if (getppid() == parent) {
            if (environment != nullptr)
                execvpe(arguments[0], arguments, environment);
            else
                execvp(arguments[0], arguments);
        }
        const int32_t failure = errno;
        if (failureWriter >= 0 && write(failureWriter, &failure, sizeof failure) < 0)
            _exit(254);
        _exit(255);
    }
};

namespace {

void addEntries(CStringArray& entries, const ChildProcess::Environment& environment) {
    for (const auto& [name, value] : environment)
        entries.add(std::string(name).append("=").append(value));
}

} // namespace

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
    if (pid > 0) {
        kill(SIGKILL);
        waitForExit();
    }
    forgetChild();
    closeFailureReader();
}

void ChildProcess::launch(const std::vector<String>& arguments) {
    launch(arguments, static_cast<char* const*>(nullptr));
}

void ChildProcess::launch(const std::vector<String>& arguments, const Environment& environment) {
    CStringArray entries;
    addEntries(entries, environment);
    launch(arguments, entries.data());
}

void ChildProcess::launch(const std::vector<String>& arguments, char* const* environment) {
    const CStringArray texts(arguments);
    if (!start({.arguments = texts.data(), .environment = environment}))
        throw IOException("Could not launch process");
}

void ChildProcess::launchInSession(const Program& program) {
    CStringArray texts;
    for (const std::string& argument : program.arguments)
        texts.add(argument);
    CStringArray entries;
    addEntries(entries, program.environment);
    int ends[2];
    // Not to block: read once the child has ended, which has written by then.
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        throw IOException(lastErrorMessage());
    closeFailureReader();
    failureReader = aboveConsole(ends[0]);
    const FileDescriptor writer(aboveConsole(ends[1]));
    if (!start({.arguments = texts.data(),
                .environment = entries.data(),
                .inSession = true,
                .input = program.input,
                .output = program.output,
                .failureWriter = writer.get()}))
        throw IOException(lastErrorMessage());
}

bool ChildProcess::start(const Start& start) {
    // Until the child has its descriptor: a `SIGCHLD` handler of the application may reap it.
    const BlockedSignals blocked;
    const pid_t child = vfork();
    if (child == 0)
        start.becomeProgram();
    // Stored only if there is a child: -1 would make `waitForExit` wait for any child.
    if (child < 0)
        return false;
    forgetChild();
    pid = child;
    watchChild();
    return true;
}

bool ChildProcess::kill(int signal) {
    if (!isChild())
        return false;
    return (pidDescriptor >= 0 ? syscall(SYS_pidfd_send_signal, pidDescriptor, signal, nullptr, 0)
                               : ::kill(pid, signal)) == 0;
}

void ChildProcess::killSession() {
    // The number of an ended child isn't reused before it is reaped.
    if (isChild())
        ::kill(-pid, SIGKILL);
    kill(SIGKILL);
}

int ChildProcess::waitForExit() {
    const pid_t child = pid;
    const int status = reap().value_or(0);
    const int32_t exitCode = (status >> 8) & 0xFF;
    if (exitCode != 0)
        logError("Child process with PID ", static_cast<int32_t>(child),
                 " exited with error code: ", exitCode);
    return status;
}

std::optional<int> ChildProcess::reap() {
    if (pid == 0)
        return {};
    int status = 0;
    // One that has ended keeps its number until it is reaped.
    const bool reaped = waitForChild(WEXITED | WNOWAIT) && waitpid(pid, &status, WNOHANG) == pid;
    pid = 0;
    return reaped ? std::optional(status) : std::nullopt;
}

int32_t ChildProcess::getStartFailure() {
    int32_t failure = 0;
    if (failureReader < 0 || read(failureReader, &failure, sizeof failure) != sizeof failure)
        return 0;
    return failure;
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

void ChildProcess::closeFailureReader() {
    if (failureReader >= 0)
        close(failureReader);
    failureReader = -1;
}

bool ChildProcess::waitForChild(int options, bool* ended) const {
    siginfo_t info{};
    int result = 0;
    do {
        result = pidDescriptor >= 0 ? waitid(P_PIDFD, static_cast<id_t>(pidDescriptor), &info, options)
                                    : waitid(P_PID, static_cast<id_t>(pid), &info, options);
    } while (result != 0 && errno == EINTR);
    if (ended != nullptr)
        *ended = info.si_pid != 0;
    return result == 0;
}

bool ChildProcess::hasEnded() const {
    bool ended = false;
    return pid == 0 || !waitForChild(WEXITED | WNOWAIT | WNOHANG, &ended) || ended;
}

bool ChildProcess::isChild() const {
    return pid > 0 && waitForChild(WEXITED | WNOWAIT | WNOHANG);
}

} // namespace base::core
