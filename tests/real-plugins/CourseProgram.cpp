#include "real-plugins/CourseProgram.h"

#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

using base::core::ScopedLock;

namespace {

/// The standard output, which from here on is the standard error stream's for this process and its children.
FILE* takeStandardOutput() {
    const int descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return fdopen(descriptor, "w");
}

/// Nothing if they are wrong.
std::optional<CourseArguments> readArguments(std::vector<std::string> words, const FurtherWords& further) {
    constexpr size_t ownWords = 2;
    CourseArguments arguments;
    if (words.size() > 1 && words[0] == "--seconds") {
        arguments.seconds = static_cast<unsigned>(std::strtoul(words[1].c_str(), nullptr, 10));
        words.erase(words.begin(), words.begin() + 2);
    }
    if (arguments.seconds == 0 || words.size() < ownWords + further.fewest ||
        words.size() > ownWords + further.most)
        return std::nullopt;
    arguments.host = std::filesystem::absolute(words[0]);
    arguments.plugin = std::filesystem::absolute(words[1]);
    arguments.others.assign(words.begin() + ownWords, words.end());
    return arguments;
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

siginfo_t awaitEnd(const RemotePluginHostProxy& proxy) {
    siginfo_t end{};
    while (waitid(P_PID, static_cast<id_t>(proxy.getChildPid()), &end, WEXITED | WNOWAIT) != 0) {
        if (errno != EINTR)
            throw std::runtime_error(std::string("waitid: ") + std::strerror(errno));
    }
    return end;
}

std::string describe(const siginfo_t& end) {
    if (end.si_code == CLD_EXITED)
        return "status " + std::to_string(end.si_status);
    return std::string("\"") + strsignal(end.si_status) + "\"";
}

std::optional<std::string> failureOf(const std::function<void()>& action) {
    std::string words;
    try {
        action();
        return std::nullopt;
    } catch (const Exception& exception) {
        words = exception.getMessage().toStdString();
    } catch (const std::exception& exception) {
        words = exception.what();
    }
    std::replace(words.begin(), words.end(), '\n', ' ');
    return words;
}

int runCourse(int argc, char** argv, const FurtherWords& further,
              const std::function<int(const CourseArguments&, FILE* results)>& course) {
    const std::optional<CourseArguments> arguments = readArguments({argv + 1, argv + argc}, further);
    if (!arguments) {
        std::fprintf(stderr, "Usage: %s [--seconds N] HOST PLUGIN%s\n", argv[0], further.usage);
        return 2;
    }
    const std::string user = "plugin-course-" + std::to_string(getpid());
    setenv("USER", user.c_str(), 1);
    FILE* results = takeStandardOutput();
    const int status = course(*arguments, results);
    std::fclose(results);
    std::error_code ignored;
    std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
    return status;
}
