#include "core/StartProgram.h"

#include "core/CStringArray.h"
#include "core/ChildSignals.h"
#include "core/Exception.h"
#include "core/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace base::core {
namespace {

// Runs in the child of a process that may have other threads: allocates nothing. `exec` closes the pipe for
// the failure.
[[noreturn]] void becomeProgram(char* const* arguments, int32_t output, int32_t failurePipe) {
    resetSignals();
    dup2(output, STDOUT_FILENO);
    execvp(arguments[0], arguments);
    const int32_t failure = errno;
    const bool reported = write(failurePipe, &failure, sizeof failure) == sizeof failure;
    _exit(reported ? 255 : 254);
}

pid_t forkProgram(char* const* arguments, int32_t output, int32_t failurePipe) {
    const BlockedSignals blocked;
    const pid_t child = fork();
    if (child == 0)
        becomeProgram(arguments, output, failurePipe);
    return child;
}

// 4 bytes in one write, or the end of the pipe.
int32_t readFailure(int32_t pipe) {
    int32_t failure = 0;
    ssize_t count;
    do {
        count = read(pipe, &failure, sizeof failure);
    } while (count < 0 && errno == EINTR);
    return failure;
}

} // namespace

PipeEnds openPipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw ProcessException(concat("Could not open pipe to child process: ", lastErrorMessage()));
    return {ends[0], ends[1]};
}

StartedProgram startProgram(const std::vector<String>& arguments, int32_t output) {
    const CStringArray texts(arguments);
    const PipeEnds ends = openPipe();
    FileDescriptor reader(ends.reader);
    FileDescriptor writer(ends.writer);
    const pid_t child = forkProgram(texts.data(), output, ends.writer);
    writer.close();
    if (child < 0)
        return {child, 0};
    const int32_t failure = readFailure(ends.reader);
    if (failure != 0)
        waitForProgram(child);
    return {child, failure};
}

int waitForProgram(pid_t pid) {
    int status = 0;
    pid_t ended;
    do {
        ended = waitpid(pid, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return status;
}

} // namespace base::core
