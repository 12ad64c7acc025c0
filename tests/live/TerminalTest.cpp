// The live program on a terminal. If these fail, a user can't read how it does, doesn't end it by its keys,
// or finds a shell afterwards that shows nothing of what is typed.

#include "live/LiveTest.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/prctl.h>
#include <termios.h>

using namespace test_support;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

/// A terminal whose foreground is the program.
class TerminalTest : public LiveTest {
protected:
    ~TerminalTest() override {
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        close(terminal);
    }

    void startOnTerminal(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), LIVE_EXECUTABLE);
        std::vector<char*> pointers;
        for (std::string& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        const winsize size{24, 200, 0, 0};
        child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (const auto& [name, value] : environment())
                setenv(name.c_str(), value.c_str(), 1);
            if (chdir(directory.path.c_str()) == 0)
                execv(pointers[0], pointers.data());
            _exit(127);
        }
        tcgetattr(terminal, &former);
    }

    bool reads(const std::string& words) {
        while (text.find(words) == std::string::npos) {
            if (!appendFrom(terminal, text))
                return false;
        }
        return true;
    }

    void type(char key) const { ASSERT_EQ(write(terminal, &key, 1), 1); }

    /// The exit status.
    int await() {
        while (appendFrom(terminal, text)) {
        }
        int status = -1;
        waitpid(child, &status, 0);
        child = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t child = -1;
    int terminal = -1;
    termios former{};
    std::string text;
};

} // namespace

TEST_F(TerminalTest, OneLineIsRewrittenAndTheKeyQEnds) {
    startServer();
    startOnTerminal({"--preset", "sound.fxb", examplePlugin("tone.so")});
    EXPECT_TRUE(reads("isn't there yet: saving makes it"));
    EXPECT_TRUE(reads("late 0, xruns ")) << text;
    EXPECT_THAT(text, testing::ContainsRegex("\r\x1b\\[Kload [0-9.]+ %, own [0-9.]+ %, late 0, xruns "));
    type('s');
    EXPECT_TRUE(reads("plugin-host-live: saved ")) << text;
    EXPECT_TRUE(fs::exists(directory / "sound.fxb"));
    // The second line comes in place of the first.
    const size_t shown = text.size();
    EXPECT_TRUE(eventually([&] {
        appendFrom(terminal, text);
        return text.find("\r\x1b[Kload ", shown) != std::string::npos;
    }));
    type('q');
    EXPECT_EQ(await(), 0);
    EXPECT_THAT(text, HasSubstr("\r\x1b[K"));
    EXPECT_THAT(text, testing::ContainsRegex("[0-9]+ periods, [^\n]*dBFS\r\n$"));
}

TEST_F(TerminalTest, AnInterruptingKeyLeavesTheHostsTimeToSave) {
    startServer();
    startOnTerminal({"--preset", "sound.fxb", examplePlugin("tone.so")});
    ASSERT_TRUE(reads("late ")) << text;
    type(3);
    EXPECT_EQ(await(), 0) << text;
    EXPECT_TRUE(fs::exists(directory / "sound.fxb"));
}

TEST_F(TerminalTest, AnInterruptingKeyEndsTheWaitForAPluginThatDoesNotStart) {
    const ScopedEnvironment gate("PLUGIN_TEST_GATE", (directory / "gate").c_str());
    const ScopedEnvironment record("PLUGIN_TEST_RECORD", (directory / "record").c_str());
    startServer();
    startOnTerminal({TEST_PLUGIN_DIRECTORY "/waits-for-its-gate.so"});
    ASSERT_TRUE(eventually([&] { return fs::exists(directory / "record"); })) << text;
    type(3);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    child = -1;
    EXPECT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}

TEST_F(TerminalTest, TheTerminalIsAsBeforeAfterwards) {
    startServer();
    startOnTerminal({examplePlugin("tone.so")});
    ASSERT_TRUE(reads("late ")) << text;
    termios during{};
    ASSERT_TRUE(
        eventually([&] { return tcgetattr(terminal, &during) == 0 && (during.c_lflag & ECHO) == 0; }));
    // Held open, so that the settings outlast the program.
    const int kept = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    type('q');
    ASSERT_TRUE(reads("dBFS\r\n"));
    termios after{};
    EXPECT_TRUE(
        eventually([&] { return tcgetattr(terminal, &after) == 0 && after.c_lflag == former.c_lflag; }));
    close(kept);
    EXPECT_EQ(await(), 0);
}
