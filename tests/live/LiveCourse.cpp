// Plays plug-ins that others have made in the live program, each for some hundreds of periods, as fast as it
// renders: those of LIVE_COURSE_PLUGINS, a path a line, for as long as LIVE_COURSE_SECONDS allow. Prints a
// line for each. For scripts/test-plugins.

#include "live/LiveTest.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

using namespace test_support;

namespace {

constexpr int period = 256;
constexpr size_t periods = 400;

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

class LiveCourse : public LiveTest {
protected:
    void play(const std::string& file) {
        live.emplace(std::vector<std::string>{"--midi", file}, environment(), directory.path,
                     LIVE_EXECUTABLE);
        if (!eventually(
                [&] { return hasEnded() || peer->connect("plugin-host-live:output_1", "peer:receive_1"); }))
            return print(file, "FAILED: it has no output");
        if (hasEnded())
            return end(file, {});
        peer->connect("peer:send_1", "plugin-host-live:input_1");
        peer->connect("peer:send_2", "plugin-host-live:input_2");
        peer->connect("peer:midi_send", "plugin-host-live:midi_input");
        jack_set_freewheel(peer->get(), 1);
        peer->record(periods * period, {{0, {0x90, 60, 100}}, {periods * period / 2, {0x80, 60, 0}}});
        const bool isOver = eventually([&] { return peer->hasRecorded(); }, longBound);
        jack_set_freewheel(peer->get(), 0);
        if (isOver)
            end(file, peer->getRecording());
        else
            print(file, "FAILED: it takes too long");
    }

    bool hasEnded() const {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(live->getPid()), &info, WEXITED | WNOWAIT | WNOHANG) == 0 &&
               info.si_pid != 0;
    }

    void end(const std::string& file, const std::vector<float>& recording) {
        live->signal(SIGTERM);
        live->waitForEnd();
        const std::string& error = live->error;
        if (error.find(" has no audio outputs\n") != std::string::npos)
            return print(file, "has no outputs");
        const auto strange =
            std::ranges::count_if(recording, [](float sample) { return !std::isfinite(sample); });
        const size_t late = live->output.find(" late blocks");
        const size_t begin = live->output.rfind(' ', late - 1) + 1;
        const std::string lateBlocks =
            late != std::string::npos ? live->output.substr(begin, late - begin) : "-";
        const bool isGood = live->status() == 0 && lateBlocks == "0" && strange == 0 && !recording.empty() &&
                            error.find("bypassed") == std::string::npos;
        print(file, (isGood ? "ok" : "FAILED:") + std::string(" periods=") + std::to_string(periods) +
                        " late=" + lateBlocks + " infinite=" + std::to_string(strange));
        EXPECT_TRUE(isGood) << file << ": " << error << live->output;
    }

    static void print(const std::string& file, const std::string& words) {
        std::printf("live: %-24s %s\n", std::filesystem::path(file).stem().c_str(), words.c_str());
        EXPECT_FALSE(words.starts_with("FAILED")) << file;
    }
};

} // namespace

TEST_F(LiveCourse, EachPlays) {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::seconds(std::atoi(variable("LIVE_COURSE_SECONDS").c_str()));
    startServer(period);
    peer->sent = 0.1F;
    std::istringstream files(variable("LIVE_COURSE_PLUGINS"));
    int leftOut = 0;
    for (std::string file; std::getline(files, file);) {
        if (std::chrono::steady_clock::now() < deadline)
            play(file);
        else
            ++leftOut;
    }
    if (leftOut > 0)
        std::printf("not run: %d real plug-ins in plugin-host-live\n", leftOut);
}
