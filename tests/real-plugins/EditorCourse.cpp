// Opens the editor of a plug-in while the plug-in plays, shows it for two seconds, hides it, shows it at
// another place and closes it. Without it, nobody would know whether editors that weren't drawn for this host
// open in it: their users would find out.
//
//     editor-course [--seconds N] HOST PLUGIN
//
// HOST is the host program, PLUGIN whatever that loads. A host that takes longer than N seconds, 40 without
// the option, is killed.
//
// One line goes to the standard output:
//
//     ok blocks=345 moves=1         it opened, was shown, and its closing was told once
//     none                          the plug-in has no editor
//     closed                        the host closed it by itself: the plug-in made no window in it
//     failed in show: ...           anything else
//
// The status is 1 when something failed, 2 when the arguments are wrong, else 0.

#include "real-plugins/CourseProgram.h"
#include "real-plugins/PlayedPlugin.h"
#include "real-plugins/ScoreBlock.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds shownFor(2);
constexpr std::chrono::seconds shownElsewhereFor(1);

/// Counts what is told of the window.
class WindowListener : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification&) override {}
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification&) override {}
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override {}
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification&) override {}
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override { ++moves; }
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override { ++closings; }

    std::atomic<int> moves = 0;
    std::atomic<int> closings = 0;
};

class EditorCourse {
public:
    explicit EditorCourse(const CourseArguments& arguments)
        : arguments(arguments), watchdog(arguments.seconds) {}

    /// The words of the outcome.
    std::string run() {
        player.emplace(arguments.host, arguments.plugin, &watchdog, listener);
        std::string outcome = "none";
        if (player->hasEditor())
            outcome = visitEditor(player->host(), player->getId());
        stage = "end";
        player->end();
        return outcome;
    }

    /// What became of the host, behind a failure; empty if it never was connected.
    std::string describeEnd() {
        const std::string end = player ? "; " + player->describeEnd() : "";
        return watchdog.hasBarked() ? "; the host took too long and was killed" : end;
    }
    const std::string& getStage() const { return stage; }

private:
    std::string visitEditor(RemotePluginHostProxy& host, int32_t id) {
        stage = "open";
        host.openGUI(id, 0, true, "Editor");
        // Answered when it is open, or has failed to.
        host.ping();
        play(shownFor);
        if (listener->closings > 0)
            return "closed";
        stage = "move";
        host.hideAllGUIs();
        host.setWindowPosition(id, 50, 60, 200, 100);
        host.showAllGUIs();
        host.ping();
        play(shownElsewhereFor);
        stage = "close";
        host.closeGUI(id);
        host.ping();
        play(std::chrono::milliseconds(100));
        if (listener->closings != 1)
            throw std::runtime_error("the closing was told " + std::to_string(listener->closings) + " times");
        return "ok blocks=" + std::to_string(blocks) + " moves=" + std::to_string(listener->moves);
    }

    /// As fast as music goes.
    void play(Clock::duration length) {
        const Clock::time_point end = Clock::now() + length;
        const auto blockLength = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(score::blockSize) / score::sampleRate));
        for (Clock::time_point due = Clock::now(); due < end; due += blockLength, ++blocks) {
            writeBlock(player->block(), blocks % score::blocks);
            player->playBlock();
            std::this_thread::sleep_until(due + blockLength);
        }
    }

    const CourseArguments& arguments;
    Watchdog watchdog;
    std::string stage = "create";
    const Ref<WindowListener> listener{new WindowListener};
    std::optional<PlayedPlugin> player;
    int32_t blocks = 0;
};

int takeCourse(const CourseArguments& arguments, FILE* results) {
    EditorCourse course(arguments);
    const auto failure = failureOf([&] { std::fprintf(results, "%s\n", course.run().c_str()); });
    if (failure)
        std::fprintf(results, "failed in %s: %s%s\n", course.getStage().c_str(), failure->c_str(),
                     course.describeEnd().c_str());
    return failure ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    return runCourse(argc, argv, {"", 0, 0}, takeCourse);
}
