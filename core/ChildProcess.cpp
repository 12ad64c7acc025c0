#include "core/ChildProcess.h"

#include "core/CStringArray.h"
#include "core/ChildSignals.h"
#include "core/Exception.h"
#include "core/Log.h"

#include <cerrno>
#include <csignal>
#include <cstring>
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
    int32_t input = -1;
    int32_t output = -1;
    int32_t error = -1;
    bool inSession = false;
    bool inGroup = false;
    const pid_t parent = getpid();
    /// Set by the child, in the memory of the parent, if `exec` fails.
    volatile int32_t execError = 0;

    // Runs in the child between `vfork` and `exec`, in the memory of the parent: allocates nothing.
    [[noreturn]] void becomeProgram() {
        prctl(PR_SET_PDEATHSIG, SIGHUP, 0, 0, 0);
        if (inSession)
            setsid();
        else if (inGroup)
            setpgid(0, 0);
        replaceStream(input, STDIN_FILENO);
        replaceStream(output, STDOUT_FILENO);
        replaceStream(error, STDERR_FILENO);
        resetSignals();
        // If the parent died before that call, no signal will come.
        if (getppid() == parent) {
            if (environment != nullptr)
                execvpe(arguments[0], arguments, environment);
            else
                execvp(arguments[0], arguments);
            execError = errno;
        }
        _exit(255);
    }

    static void replaceStream(int32_t descriptor, int32_t stream) {
        if (descriptor >= 0)
            dup2(descriptor, stream);
    }
};

namespace {

void addEntries(CStringArray& entries, const ChildProcess::Environment& environment) {
    for (const auto& [name, value] : environment)
        entries.add(std::string(name).append("=").append(value));
}

int rawStatus(const siginfo_t& info) {
    constexpr int coreFlag = 0x80;
    if (info.si_code == CLD_EXITED)
        return info.si_status << 8;
    return info.si_code == CLD_DUMPED ? info.si_status | coreFlag : info.si_status;
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
    addEntries(entries, environment);
    launch(arguments, entries.data());
}

void ChildProcess::launch(const std::vector<String>& arguments, char* const* environment) {
    const CStringArray texts(arguments);
    Start program{.arguments = texts.data(), .environment = environment};
    if (!start(program))
        throw IOException("Could not launch process");
}

void ChildProcess::launch(const Program& program) {
    CStringArray texts;
    for (const std::string& argument : program.arguments)
        texts.add(argument);
    CStringArray entries;
    if (program.environment)
        addEntries(entries, *program.environment);
    Start child{.arguments = texts.data(),
                .environment = program.environment ? entries.data() : nullptr,
                .input = program.input,
                .output = program.output,
                .error = program.error,
                .inSession = program.inSession,
                .inGroup = program.inGroup};
    if (!start(child))
        throw IOException(lastErrorMessage());
}

bool ChildProcess::start(Start& start) {
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
    execError = start.execError;
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

std::optional<int> ChildProcess::peekStatus() const {
    siginfo_t info{};
    if (pid == 0 || !waitForChild(WEXITED | WNOWAIT | WNOHANG, info) || info.si_pid == 0)
        return {};
    return rawStatus(info);
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
    return waitForChild(options, info);
}

bool ChildProcess::waitForChild(int options, siginfo_t& info) const {
    int result = 0;
    do {
        result = pidDescriptor >= 0 ? waitid(P_PIDFD, static_cast<id_t>(pidDescriptor), &info, options)
                                    : waitid(P_PID, static_cast<id_t>(pid), &info, options);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool ChildProcess::hasEnded() const {
    siginfo_t info{};
    // An error means that it was reaped elsewhere.
    return pid == 0 || !waitForChild(WEXITED | WNOWAIT | WNOHANG, info) || info.si_pid != 0;
}

bool ChildProcess::isChild() const {
    return pid > 0 && waitForChild(WEXITED | WNOWAIT | WNOHANG);
}

String describeStatus(int status) {
    if (!WIFSIGNALED(status))
        return concat("ended with status ", WEXITSTATUS(status));
    const int signal = WTERMSIG(status);
    const char* name = sigdescr_np(signal);
    return concat("was ended by signal ", signal, " (", name != nullptr ? name : "unknown", ")");
}

} // namespace base::core
