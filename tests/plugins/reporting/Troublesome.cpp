// An effect that troubles the process that asks what it is. One source, many files: TROUBLE says how.

#include "plugins/dying/Deaths.h"
#include "plugins/vst2/TestEffect.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

/// Of each process, in seconds: none outlives a test that fails.
constexpr unsigned longestLife = 40;

void say(int stream, const std::string& text) {
    for (size_t written = 0; written < text.size();) {
        const ssize_t count = write(stream, text.data() + written, text.size() - written);
        if (count <= 0)
            return;
        written += static_cast<size_t>(count);
    }
}

/// Appends a line to the file that the test names.
void note(const std::string& line) {
    if (const char* record = std::getenv("PLUGIN_TEST_RECORD"))
        std::ofstream(record, std::ios::app) << line << std::endl;
}

void noteProcess() {
    note(std::to_string(getpid()));
}

[[maybe_unused]] void hangAtEntry() {
    say(STDOUT_FILENO, "at the entry\n");
    noteProcess();
    hang();
}

[[maybe_unused]] void floodOutput() {
    noteProcess();
    const std::string line = std::string(1000, 'x') + "\n";
    for (;;)
        say(STDERR_FILENO, line);
}

[[maybe_unused]] void writeMuch() {
    for (int line = 0; line < 2000; ++line) {
        say(STDOUT_FILENO, "out " + std::to_string(line) + " " + std::string(100, 'o') + "\n");
        say(STDERR_FILENO, "error " + std::to_string(line) + " " + std::string(100, 'e') + "\n");
    }
}

[[maybe_unused]] void leaveChild() {
    const pid_t child = fork();
    if (child == 0) {
        alarm(longestLife);
        signal(SIGHUP, SIG_IGN);
        hang();
    }
    note(std::to_string(child));
}

[[maybe_unused]] void hangWithChild() {
    leaveChild();
    hangAtEntry();
}

[[maybe_unused]] void readInput() {
    char byte;
    say(STDOUT_FILENO, "input " + std::to_string(read(STDIN_FILENO, &byte, 1)) + "\n");
    say(STDOUT_FILENO, "session " + std::to_string(getsid(0) == getpid()) + "\n");
}

[[maybe_unused]] void showVariables() {
    for (const char* name : {"LD_LIBRARY_PATH", "PLUGIN_TEST_ADDED", "PLUGIN_TEST_INHERITED"}) {
        const char* value = std::getenv(name);
        say(STDOUT_FILENO, std::string(name) + "=" + (value != nullptr ? value : "(none)") + "\n");
    }
}

[[maybe_unused]] void closeOutput() {
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
}

[[maybe_unused]] void hangWithoutOutput() {
    closeOutput();
    hangAtEntry();
}

[[maybe_unused]] void crashWithWords() {
    say(STDERR_FILENO, "first words\n\x1b[1mlast \xff words\n\n");
    crash();
}

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    alarm(longestLife);
    TROUBLE();
    return (new SilentEffect(host, {.uniqueId = 0x54726f75, .name = "Troublesome"}))->getEffect();
}
