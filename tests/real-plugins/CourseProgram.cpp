#include "real-plugins/CourseProgram.h"

#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

using base::core::ScopedLock;

namespace {

/// The standard output, which from here on is the standard error stream's for this process and its children.
FILE* takeStandardOutput() {
    const int descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return fdopen(descriptor, "w");
}

} // namespace

Watchdog::Watchdog(unsigned seconds) {
    struct sigaction action {};
    action.sa_handler = [](int) {}; // without SA_RESTART: the interrupted call fails
    sigaction(SIGALRM, &action, nullptr);
    thread = std::thread([this, seconds, mainThread = pthread_self()] { watch(seconds, mainThread); });
}

Watchdog::~Watchdog() {
    {
        const ScopedLock scope(lock);
        over = true;
        changed.broadcast();
    }
    thread.join();
}

void Watchdog::setHost(pid_t pid) {
    const ScopedLock scope(lock);
    host = pid;
}

bool Watchdog::hasBarked() {
    const ScopedLock scope(lock);
    return barked;
}

void Watchdog::watch(unsigned seconds, pthread_t mainThread) {
    constexpr double grace = 5; // seconds
    const ScopedLock scope(lock);
    awaitEnd(seconds);
    if (over)
        return;
    barked = true;
    if (host != 0)
        kill(host, SIGKILL);
    else
        pthread_kill(mainThread, SIGALRM);
    awaitEnd(grace);
    if (!over)
        _exit(EXIT_FAILURE);
}

void Watchdog::awaitEnd(double seconds) {
    const timespec deadline = base::core::monotonicDeadline(seconds);
    while (!over && changed.waitUntil(lock, deadline)) {
    }
}

int runCourse(const std::function<int(FILE* results)>& course) {
    const std::string user = "plugin-course-" + std::to_string(getpid());
    setenv("USER", user.c_str(), 1);
    FILE* results = takeStandardOutput();
    RemotePluginHostProxy::setManager(new WaitingProxyManager);
    const int status = course(results);
    std::fclose(results);
    std::error_code ignored;
    std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
    return status;
}
