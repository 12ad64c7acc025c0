#pragma once

#include "app/StepWatchdog.h"
#include "app/TestProxyProvider.h"
#include "core/Guarded.h"
#include "core/String.h"

#include <cstdint>
#include <pthread.h>
#include <utility>
#include <vector>

class TestAudioThread;

/// Takes plug-ins through a whole session of a client, one after the other, each in its own host: create,
/// render, editor, presets, programs, destroy. The script runs on the caller's thread while a
/// `TestAudioThread` renders, so that calls overlap as in an application. Every step is logged to stdout.
///
/// A step that takes too long fails the plug-in: the host is killed, or its start interrupted. With a host in
/// this process, the verdict is printed and the process exits with 1.
class SelfTest : public NonCopyable, public NonMovable {
public:
    static constexpr double defaultStepBound = 120; // seconds

    SelfTest(const Ref<TestProxyProvider>& provider, std::vector<String> files,
             double stepBound = defaultStepBound,
             const StepWatchdog::Clock& clock = StepWatchdog::monotonicTime);
    ~SelfTest();

    /// Tests the files in order. Returns the exit status: 0 if nothing failed, else 1.
    int run();

private:
    /// Written by the script, read by the watchdog.
    struct State {
        /// The current host, borrowed from the script. Null while there is none, and while it is released.
        PluginHostProxy* proxy = nullptr;
        /// A host is being started.
        bool isStarting = false;
        String currentFile;
        bool currentFailed = false;
        const char* subject = "";
        std::vector<String> passed;
        /// Files and reasons.
        std::vector<std::pair<String, String>> failed;
    };

    void testPlugin(const String& file);
    /// Throws `Exception`.
    void startHost();
    /// The session. Throws `Exception`.
    void runScript(const String& file);
    void usePresets(const String& file, int32_t instanceId);
    void usePrograms(int32_t instanceId, int32_t count);
    void finishAudio(TestAudioThread& audioThread);
    void endFailedHost();
    /// Releases the proxy without the lock: that may block, and the watchdog needs the lock.
    void dropHost();

    /// Begins a step that waits for the subject.
    void beginStep(const char* subject);
    /// Called while a step is overdue, on the watchdog's thread.
    void giveUpStep();
    /// Why the latest step failed. An overdue one failed for that, and its exception is a consequence.
    String reasonOf(const Exception& exception);
    /// Of the current file.
    void recordFailure(const String& reason);
    void printVerdict();

    const Ref<TestProxyProvider> provider;
    const std::vector<String> files;
    const pthread_t scriptThread;
    base::core::Guarded<State> state;
    /// Used by the script alone.
    Ref<PluginHostProxy> proxy;
    Ref<StepWatchdog> watchdog;
};
