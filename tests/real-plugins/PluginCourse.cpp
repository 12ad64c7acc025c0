// Takes one plug-in through all that a client does with it: a host process is started, the plug-in created in
// it and played with changing parameters, notes and transport, then with silence until its tail ends, and
// everything is taken down again. Without it, nobody would know whether the host gets on with plug-ins that
// weren't written for it: their users would find out.
//
//     plugin-course [--seconds N] HOST PLUGIN [IDENTIFIER]
//
// It knows no plug-in format: HOST is the host program, PLUGIN whatever that loads, IDENTIFIER the plug-in in
// it. A host that takes longer than N seconds, 40 without the option, is killed.
//
// Two lines go to the standard output, the first once the plug-in is created:
//
//     plugin inputs=2 outputs=2 parameters=3 programs=1
//     ok median=12.3 peak=0.512345 tail=17
//
// with the median block round trip in microseconds, the largest magnitude of the blocks before the silence,
// and the blocks of silence that the tail took, as in "172+" where it was not waited for. Instead of the
// second there may be "failed in", what was being done, ": " and what is wrong. What the plug-in prints goes
// to the standard error stream. The status is 0, or 1 when something failed, or 2 when the arguments are
// wrong.

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "core/Mutex.h"
#include "core/SharedMemory.h"
#include "plugin/Channels.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginInstance.h"
#include "real-plugins/CourseProgram.h"
#include "real-plugins/ScoreBlock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <vector>

using base::core::Condition;
using base::core::Mutex;
using base::core::ScopedLock;

namespace {

constexpr int32_t longestTail = 44100;     // frames
constexpr double replyPatience = 20;       // seconds
constexpr double notificationPatience = 5; // seconds

/// Hears which parameters got new texts. The reply thread calls; another one waits.
class ChangeListener : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification& notification) override {
        if (!std::isfinite(notification.value))
            fail("a value that is no number was reported for parameter " +
                 std::to_string(notification.parameterIndex));
    }
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) override {
        const ScopedLock scope(lock);
        const auto index = static_cast<size_t>(notification.parameterIndex);
        if (index >= isRetold.size())
            isRetold.resize(index + 1);
        isRetold[index] = true;
        changed.broadcast();
    }
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override {}
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification&) override {}
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override {}
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override {
        fail("the end of an editor was reported that nobody opened");
    }

    /// Returns once the texts of the first `count` parameters have come. Throws `std::runtime_error`.
    void awaitTexts(int32_t count) {
        const timespec deadline = base::core::monotonicDeadline(notificationPatience);
        const ScopedLock scope(lock);
        const auto wanted = static_cast<size_t>(count);
        const auto missing = [&] {
            return isRetold.size() < wanted ||
                   std::find(isRetold.begin(), isRetold.begin() + count, false) != isRetold.begin() + count;
        };
        while (failure.empty() && missing()) {
            if (!changed.waitUntil(lock, deadline) && missing())
                throw std::runtime_error("the new texts of changed parameters did not come");
        }
        if (!failure.empty())
            throw std::runtime_error(failure);
    }

private:
    void fail(const std::string& words) {
        const ScopedLock scope(lock);
        failure = words;
        changed.broadcast();
    }

    Mutex lock;
    Condition changed;
    std::vector<bool> isRetold;
    std::string failure;
};

/// One plug-in's way through one host. A failure is an exception, after which `describeEnd` tells of the
/// host.
class Course {
public:
    using Microseconds = std::chrono::duration<double, std::micro>;

    explicit Course(const CourseArguments& arguments, FILE* results)
        : arguments(arguments), results(results), watchdog(arguments.seconds) {}

    ~Course() {
        watchdog.setHost(0);
        context = nullptr;
        // A host that died has left it.
        if (proxy != nullptr)
            shm_unlink(base::core::sharedMemoryName(audioBlockName(proxy->getHostId(), instanceId)).c_str());
    }

    void run() {
        proxy = new RemotePluginHostProxy(arguments.host.c_str());
        watchdog.setHost(proxy->getChildPid());
        if (proxy->getBlockSize() != score::blockSize || proxy->getSampleRate() != score::sampleRate)
            throw std::runtime_error("the score is for another block size or sample rate");
        create();
        stage = "start";
        context->startProcessing();
        play();
        stage = "notifications";
        listener->awaitTexts(std::min(parameterCount, score::blocks));
        ringOut();
        stage = "update of the channels";
        checkUpdate();
        stage = "stop";
        context->stopProcessing();
        context->drain();
        stage = "destroy";
        proxy->destroyPluginInstance(instanceId);
        proxy->removePluginInstance(instanceId);
        // Answered by the main thread, which has then destroyed it.
        proxy->ping();
        stage = "shutdown";
        proxy->shutdown();
        const siginfo_t end = awaitEnd(*proxy);
        if (end.si_code != CLD_EXITED || end.si_status != 0)
            throw std::runtime_error("the run was good and the status is not");
    }

    /// What became of the host, ended by this if it still lives.
    std::string describeEnd() {
        if (proxy == nullptr)
            return "the host did not open its pipes";
        try {
            proxy->shutdown();
        } catch (const Exception&) {
            // It has gone by itself.
        }
        const siginfo_t end = awaitEnd(*proxy);
        if (watchdog.hasBarked())
            return "the host took too long and was killed";
        return (end.si_code == CLD_EXITED ? "the host ended with " : "the host died of ") + describe(end);
    }

    const std::string& getStage() const { return stage; }

    /// In microseconds.
    double getMedian() {
        const auto middle = roundTrips.begin() + static_cast<ptrdiff_t>(roundTrips.size() / 2);
        std::nth_element(roundTrips.begin(), middle, roundTrips.end());
        return middle->count();
    }
    float getPeak() const { return peak; }
    const std::string& getTail() const { return tail; }

private:
    void create() {
        stage = "create";
        listener = new ChangeListener;
        const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
        const std::string identifier = arguments.others.empty() ? "" : arguments.others[0];
        instanceId = proxy->createPluginInstance(arguments.plugin.c_str(), {}, identifier.c_str(), false,
                                                 listener, created);
        const auto reply = created->waitFor<CreatePluginInstanceReply>(replyPatience);
        inputCount = reply->inputChannelCount;
        outputCount = reply->outputChannelCount;
        parameterCount = static_cast<int32_t>(reply->state->parameters.size());
        std::fprintf(results, "plugin inputs=%d outputs=%d parameters=%d programs=%d\n", inputCount,
                     outputCount, parameterCount, static_cast<int>(reply->state->programs.size()));
        std::fflush(results);
        for (const Ref<ParameterInfo>& parameter : reply->state->parameters) {
            if (!std::isfinite(parameter->value))
                throw std::runtime_error("a parameter's value is no number");
        }
        context = new RemotePluginAudioContextProxy(proxy, *reply);
        checkGuards();
        for (int32_t index = 0; index < parameterCount; ++index)
            context->setParameterFlag(index, parameterWatched);
    }

    void play() {
        for (int32_t block = 0; block < score::blocks; ++block) {
            stage = "block " + std::to_string(block);
            writeBlock(*context, block);
            if (const auto change = score::parameterChangeAt(block, context->parameterCount))
                addChange(*context, change->index, change->value);
            if (processBlock(true) != processActive)
                throw std::runtime_error("a plug-in that is to stay active is not");
            peak = std::max(peak, measureOutput());
        }
    }

    void ringOut() {
        const int32_t most = longestTail / context->blockSize;
        int32_t block = 0;
        int32_t result = processTail;
        for (; block < most && result != processSilent; ++block) {
            stage = "silent block " + std::to_string(block);
            writeSilence(*context);
            result = processBlock(false);
            measureOutput();
            if (result < processSilent || result > processTail)
                throw std::runtime_error("the answer is " + std::to_string(result));
        }
        tail = std::to_string(block) + (result != processSilent ? "+" : "");
    }

    int32_t processBlock(bool keepActive) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point sent = Clock::now();
        const int32_t result = context->process(context->blockSize, keepActive, true);
        if (keepActive)
            roundTrips.emplace_back(Clock::now() - sent);
        checkGuards();
        if (*context->getRegions().outputEventCount < 0 ||
            *context->getRegions().outputEventCount > context->getRegions().outputEventCapacity)
            throw std::runtime_error("there are " + std::to_string(*context->getRegions().outputEventCount) +
                                     " events");
        return result;
    }

    void checkGuards() const {
        if (!context->areGuardsIntact())
            throw std::runtime_error("something was written outside of the buffers");
    }

    /// The largest magnitude.
    float measureOutput() const {
        float largest = 0;
        for (int32_t channel = 0; channel < context->outputChannelCount; ++channel) {
            const float* samples = context->outputChannel(channel);
            for (int32_t frame = 0; frame < context->blockSize; ++frame) {
                if (!std::isfinite(samples[frame]))
                    throw std::runtime_error(std::string(std::isnan(samples[frame]) ? "NaN" : "infinity") +
                                             " in output " + std::to_string(channel));
                largest = std::max(largest, std::fabs(samples[frame]));
            }
        }
        return largest;
    }

    void checkUpdate() {
        const Ref<ReplyWaiter> updated(new ReplyWaiter(*proxy));
        proxy->updateIO(instanceId, updated);
        const auto reply = updated->waitFor<DefineIoReply>(replyPatience);
        if (reply->inputChannelCount != inputCount || reply->outputChannelCount != outputCount ||
            static_cast<int32_t>(reply->state->parameters.size()) != parameterCount)
            throw std::runtime_error("the plug-in has other channels or parameters than before");
    }

    const CourseArguments& arguments;
    FILE* results;
    Watchdog watchdog;
    std::string stage = "start of the host";
    Ref<RemotePluginHostProxy> proxy;
    Ref<ChangeListener> listener;
    Ref<RemotePluginAudioContextProxy> context;
    int32_t instanceId = 0;
    int32_t inputCount = 0;
    int32_t outputCount = 0;
    int32_t parameterCount = 0;
    std::vector<Microseconds> roundTrips;
    float peak = 0;
    std::string tail;
};

int takeCourse(const CourseArguments& arguments, FILE* results) {
    Course course(arguments, results);
    if (const auto failure = failureOf([&] { course.run(); })) {
        std::fprintf(results, "failed in %s: %s; %s\n", course.getStage().c_str(), failure->c_str(),
                     course.describeEnd().c_str());
        return EXIT_FAILURE;
    }
    std::fprintf(results, "ok median=%.1f peak=%.6f tail=%s\n", course.getMedian(),
                 static_cast<double>(course.getPeak()), course.getTail().c_str());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    return runCourse(argc, argv, {" [IDENTIFIER]", 0, 1}, takeCourse);
}
