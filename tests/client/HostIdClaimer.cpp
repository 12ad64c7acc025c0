// A process that takes host ids as it is told by the lines of its standard input, and answers each with a
// line:
//
//     take             takes an id: the id, or why there is none
//     together COUNT   takes one on each of so many threads at once: the ids in order
//     note INSTANCE    notes an instance of the last id
//     drop             drops the first id
//     user NAME        sets `USER`
//     fork INSTANCE    has a forked copy note an instance and drop everything, and waits for its end
//     linger           leaves a forked copy that does nothing: its process id
//     race DIRECTORY ROUNDS
//                      takes an id in as many forked copies, one after the other, whose half ends without
//                      dropping it: how many held an id that no other process held, by a file in the
//                      directory

#include "client/HostIdClaim.h"
#include "support/Meeting.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <list>
#include <memory>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned longestLife = 30; // seconds

std::list<std::unique_ptr<HostIdClaim>> claims;

std::string take() {
    try {
        claims.push_back(std::make_unique<HostIdClaim>());
        return std::to_string(claims.back()->getId());
    } catch (const IOException& exception) {
        return exception.getMessage().toStdString();
    }
}

std::string takeTogether(int count) {
    std::vector<std::unique_ptr<HostIdClaim>> taken(static_cast<size_t>(count));
    test_support::Meeting meeting(count);
    std::vector<std::thread> threads;
    for (auto& claim : taken)
        threads.emplace_back([&] {
            meeting.arrive();
            claim = std::make_unique<HostIdClaim>();
        });
    for (std::thread& thread : threads)
        thread.join();
    std::vector<int32_t> ids;
    for (auto& claim : taken) {
        ids.push_back(claim->getId());
        claims.push_back(std::move(claim));
    }
    std::sort(ids.begin(), ids.end());
    std::string text;
    for (const int32_t id : ids)
        text += (text.empty() ? "" : " ") + std::to_string(id);
    return text;
}

std::string forkCopy(int32_t instance) {
    const pid_t copy = fork();
    if (copy == 0) {
        claims.back()->noteInstance(instance);
        claims.clear();
        _exit(0);
    }
    int status = -1;
    return waitpid(copy, &status, 0) == copy && status == 0 ? "ok" : "the copy failed";
}

std::string linger() {
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(longestLife);
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        pause();
        _exit(0);
    }
    return std::to_string(copy);
}

/// In a process of its own: whether it had an id alone.
bool holdAlone(const std::string& directory, bool isKilled) {
    const auto claim = std::make_unique<HostIdClaim>();
    const std::string held = directory + "/held-" + std::to_string(claim->getId());
    if (open(held.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600) < 0)
        return false;
    claim->noteInstance(1);
    sched_yield();
    const bool wasAlone = unlink(held.c_str()) == 0;
    if (isKilled)
        _exit(wasAlone ? 0 : 1);
    return wasAlone;
}

std::string race(const std::string& directory, int rounds) {
    int alone = 0;
    for (int round = 0; round < rounds; ++round) {
        const pid_t copy = fork();
        if (copy == 0)
            _exit(holdAlone(directory, round % 2 == 0) ? 0 : 1);
        int status = -1;
        alone += waitpid(copy, &status, 0) == copy && status == 0 ? 1 : 0;
    }
    return std::to_string(alone);
}

std::string answer(const std::string& command) {
    if (command == "take")
        return take();
    std::string text;
    int number = 0;
    if (command == "together")
        return std::cin >> number, takeTogether(number);
    if (command == "note")
        return std::cin >> number, claims.back()->noteInstance(number), "ok";
    if (command == "drop")
        return claims.pop_front(), "ok";
    if (command == "user")
        return std::cin >> text, setenv("USER", text.c_str(), 1), "ok";
    if (command == "fork")
        return std::cin >> number, forkCopy(number);
    if (command == "linger")
        return linger();
    if (command == "race")
        return std::cin >> text >> number, race(text, number);
    return "unknown command";
}

} // namespace

int main() {
    alarm(longestLife);
    for (std::string command; std::cin >> command;)
        std::cout << answer(command) << std::endl;
    claims.clear();
}
