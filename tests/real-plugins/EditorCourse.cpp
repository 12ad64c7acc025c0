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

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostReplies.h"
#include "real-plugins/CourseProgram.h"
#include "real-plugins/ScoreBlock.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double replyPatience = 20; // seconds
constexpr std::chrono::seconds shownFor(2);
constexpr std::chrono::seconds shownElsewhereFor(1);
constexpr unsigned defaultSeconds = 40;

struct Arguments {
    std::string host;
    std::string plugin;
    unsigned seconds = defaultSeconds;
};

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
    explicit EditorCourse(const Arguments& arguments) : arguments(arguments), watchdog(arguments.seconds) {}
    ~EditorCourse() { watchdog.setHost(0); }

    /// The words of the outcome.
    std::string run() {
        proxy = new RemotePluginHostProxy(arguments.host.c_str());
        watchdog.setHost(proxy->getChildPid());
        stage = "create";
        const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
        const int32_t id =
            proxy->createPluginInstance(arguments.plugin.c_str(), {}, {}, false, listener, created);
        const auto reply = created->waitFor<CreatePluginInstanceReply>(replyPatience);
        context = new RemotePluginAudioContextProxy(proxy, *reply);
        context->startProcessing();
        std::string outcome = "none";
        if (reply->hasEditor)
            outcome = visitEditor(id);
        stage = "end";
        context->stopProcessing();
        context->drain();
        proxy->destroyPluginInstance(id);
        proxy->removePluginInstance(id);
        proxy->ping();
        proxy->shutdown();
        return outcome;
    }

    bool wasKilled() { return watchdog.hasBarked(); }
    const std::string& getStage() const { return stage; }

private:
    std::string visitEditor(int32_t id) {
        stage = "open";
        proxy->openGUI(id, 0, true, "Editor");
        // Answered when it is open, or has failed to.
        proxy->ping();
        play(shownFor);
        if (listener->closings > 0)
            return "closed";
        stage = "move";
        proxy->hideAllGUIs();
        proxy->setWindowPosition(id, 50, 60, 200, 100);
        proxy->showAllGUIs();
        proxy->ping();
        play(shownElsewhereFor);
        stage = "close";
        proxy->closeGUI(id);
        proxy->ping();
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
            writeBlock(*context, blocks % score::blocks);
            context->process(context->blockSize, true, true);
            std::this_thread::sleep_until(due + blockLength);
        }
    }

    const Arguments& arguments;
    Watchdog watchdog;
    std::string stage = "start of the host";
    const Ref<WindowListener> listener{new WindowListener};
    Ref<RemotePluginHostProxy> proxy;
    Ref<RemotePluginAudioContextProxy> context;
    int32_t blocks = 0;
};

int takeCourse(const Arguments& arguments, FILE* results) {
    EditorCourse course(arguments);
    std::string words;
    try {
        std::fprintf(results, "%s\n", course.run().c_str());
        return EXIT_SUCCESS;
    } catch (const Exception& exception) {
        words = exception.getMessage().toStdString();
    } catch (const std::exception& exception) {
        words = exception.what();
    }
    std::fprintf(results, "failed in %s: %s%s\n", course.getStage().c_str(), words.c_str(),
                 course.wasKilled() ? "; the host took too long and was killed" : "");
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    Arguments arguments;
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() > 1 && words[0] == "--seconds") {
        arguments.seconds = static_cast<unsigned>(std::strtoul(words[1].c_str(), nullptr, 10));
        words.erase(words.begin(), words.begin() + 2);
    }
    if (words.size() != 2 || arguments.seconds == 0) {
        std::fprintf(stderr, "Usage: %s [--seconds N] HOST PLUGIN\n", argv[0]);
        return 2;
    }
    arguments.host = std::filesystem::absolute(words[0]);
    arguments.plugin = std::filesystem::absolute(words[1]);
    return runCourse([&](FILE* results) { return takeCourse(arguments, results); });
}
