#include "app/SelfTest.h"

#include "app/TestAudioThread.h"
#include "app/TestReplyHandler.h"
#include "app/TestingNotificationListener.h"
#include "core/FileSystem.h"
#include "core/Log.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostReplies.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

using base::core::LocalFileSystem;

namespace {

void print(const String& line) {
    base::core::logProgress(line);
}

/// The path of a plug-in's file with another suffix.
String replaceSuffix(const String& file, const char* newEnd) {
    const int32_t point = String::lastIndexOf(file, U'.');
    const int32_t separator = String::lastIndexOf(file, LocalFileSystem::separator);
    const bool hasSuffix = point != String::notFound && (separator == String::notFound || point > separator);
    return concat(hasSuffix ? String::substring(file, 0, point) : file, newEnd);
}

void printReply(const CreatePluginInstanceReply& reply) {
    print("Create plugin instance reply");
    print(concat("Instance id: ", reply.instanceId));
    print(concat("Audio in channels: ", reply.inputChannelCount));
    print(concat("Audio out channels: ", reply.outputChannelCount));
    print(concat("Has GUI: ", reply.hasEditor ? "true" : "false"));
    print("\nParameters:");
    for (const Ref<ParameterInfo>& parameter : reply.state->parameters)
        print(concat("    ", parameter->name, ": ", parameter->display, " ", parameter->label));
    print("\nPrograms:");
    for (const Ref<Program>& program : reply.state->programs)
        print(concat("    ", program->name));
}

// So that a call that waits for an unresponsive child is interrupted, and fails.
void interruptCallsBy(int signal) {
    struct sigaction action {};
    action.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(signal, &action, nullptr);
    // It may be blocked by inheritance.
    sigset_t unblocked;
    sigemptyset(&unblocked);
    sigaddset(&unblocked, signal);
    pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
}

} // namespace

SelfTest::SelfTest(const Ref<TestProxyProvider>& provider, std::vector<String> files, double stepBound,
                   const StepWatchdog::Clock& clock)
    : provider(provider), files(std::move(files)), scriptThread(pthread_self()),
      watchdog(new StepWatchdog(
          stepBound, [this] { giveUpStep(); }, clock)) {}

SelfTest::~SelfTest() = default;

int SelfTest::run() {
    interruptCallsBy(SIGALRM);
    watchdog->start();
    for (const String& file : files)
        testPlugin(file);
    printVerdict();
    return state.lock()->failed.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

void SelfTest::testPlugin(const String& file) {
    print("\n\n--------------------------------------------------------------------");
    print(concat("Testing plugin ", file));
    {
        const auto current = state.lock();
        current->currentFile = file;
        current->currentFailed = false;
        current->isStarting = true;
    }
    beginStep("plug-in host");
    try {
        startHost();
    } catch (const Exception& exception) {
        recordFailure(concat("Could not start plug-in host: ", reasonOf(exception)));
        watchdog->endStep();
        return;
    }
    bool hasPassed = false;
    try {
        runScript(file);
        beginStep("plug-in host to end");
        proxy->shutdown();
        print(concat(file, " passed!"));
        hasPassed = true;
    } catch (const Exception& exception) {
        recordFailure(concat("Could not test plug-in: ", reasonOf(exception)));
        endFailedHost();
    }
    dropHost();
    watchdog->endStep();
    if (hasPassed)
        state.lock()->passed.push_back(file);
}

void SelfTest::startHost() {
    proxy = provider->createProxy();
    const auto current = state.lock();
    current->isStarting = false;
    current->proxy = proxy.get();
}

void SelfTest::runScript(const String& file) {
    beginStep("plug-in instance");
    print("Creating plug-in instance");
    const Ref<TestReplyHandler> created(new TestReplyHandler);
    // A VST 2 shell takes a number; an empty identifier is the only class of a VST 3 module.
    // Oddity format-by-path-end: the same rule as the host's.
    const char* identifier = String::endsWith(file, "vst3") ? "" : "0";
    const int32_t instanceId =
        proxy->createPluginInstance(file, {}, identifier, false, new TestingNotificationListener, created);
    const Ref<PluginHostReply> answer = created->wait();
    print("Successfully created plug-in instance");
    const auto& reply = static_cast<const CreatePluginInstanceReply&>(*answer);
    printReply(reply);

    const Ref<TestAudioThread> audioThread(new TestAudioThread(proxy->createAudioContext(reply)));
    audioThread->start();
    if (reply.hasEditor) {
        beginStep("plug-in GUI to open");
        print("Opening plug-in GUI");
        proxy->openGUI(instanceId, 0, true, "Test");
        // Answered after the request above.
        proxy->ping();
        print("Plugin GUI is open");
    }
    usePresets(file, instanceId);
    usePrograms(instanceId, static_cast<int32_t>(reply.state->programs.size()));
    if (reply.hasEditor) {
        beginStep("plug-in GUI to close");
        print("Closing plug-in GUI");
        proxy->closeGUI(instanceId);
        proxy->ping();
        print("Plugin GUI is closed");
    }
    finishAudio(*audioThread);

    beginStep("plug-in instance to be destroyed");
    print("Destroying plug-in instance");
    proxy->destroyPluginInstance(instanceId);
    proxy->removePluginInstance(instanceId);
    proxy->ping();
    print("Plugin instance destroyed");
}

void SelfTest::usePresets(const String& file, int32_t instanceId) {
    beginStep("preset to be saved");
    print("Saving preset");
    const Ref<TestReplyHandler> saved(new TestReplyHandler);
    proxy->savePreset(instanceId, replaceSuffix(file, "-test.fxb"), saved);
    saved->wait();

    const String preset = replaceSuffix(file, ".fxb");
    if (!LocalFileSystem::get().exists(preset))
        return;
    beginStep("preset to be loaded");
    const Ref<TestReplyHandler> loaded(new TestReplyHandler);
    proxy->loadPreset(instanceId, preset, loaded);
    loaded->wait();
}

void SelfTest::usePrograms(int32_t instanceId, int32_t count) {
    for (int32_t program = 0; program < count; ++program) {
        beginStep("program to be set");
        print(concat("Setting current program number ", program));
        proxy->setCurrentProgram(instanceId, program);
        // Answered after the request above.
        proxy->ping();
    }
}

void SelfTest::finishAudio(TestAudioThread& audioThread) {
    beginStep("test audio engine to complete");
    audioThread.join();
    if (watchdog->wasOverdue())
        throw PluginException("Test failed waiting for test audio engine to complete");
    if (!audioThread.getError().isEmpty())
        throw PluginException(concat("Error rendering audio :", audioThread.getError()));
}

void SelfTest::endFailedHost() {
    beginStep("plug-in host to end");
    try {
        // Reports a dead host to the manager, which `shutdown` doesn't.
        proxy->ping();
        proxy->shutdown();
    } catch (const IOException&) {
        // It has ended already.
    }
}

void SelfTest::dropHost() {
    state.lock()->proxy = nullptr;
    proxy = nullptr;
}

void SelfTest::beginStep(const char* newSubject) {
    state.lock()->subject = newSubject;
    watchdog->beginStep(newSubject);
}

void SelfTest::giveUpStep() {
    String reason;
    {
        const auto current = state.lock();
        if (current->isStarting && provider->canBeInterrupted()) {
            pthread_kill(scriptThread, SIGALRM);
            return;
        }
        if (current->proxy != nullptr && current->proxy->abandon())
            return;
        reason = concat(current->isStarting ? "Could not start plug-in host: " : "Could not test plug-in: ",
                        "Test failed waiting for ", current->subject);
    }
    recordFailure(reason);
    printVerdict();
    _exit(EXIT_FAILURE);
}

String SelfTest::reasonOf(const Exception& exception) {
    if (!watchdog->wasOverdue())
        return exception.getMessage();
    return concat("Test failed waiting for ", state.lock()->subject);
}

void SelfTest::recordFailure(const String& reason) {
    const auto current = state.lock();
    // The first failure is the reason.
    if (!current->currentFailed)
        current->failed.emplace_back(current->currentFile, reason);
    current->currentFailed = true;
}

void SelfTest::printVerdict() {
    const auto current = state.lock();
    print("Passed plugins:");
    for (const String& file : current->passed)
        print(concat("    ", file));
    print("\n\nFailed plugins:");
    for (const auto& [file, reason] : current->failed)
        print(concat(file, ":      ", reason));
    print(concat("\n\nPassed : ", static_cast<int32_t>(current->passed.size()),
                 " Failed: ", static_cast<int32_t>(current->failed.size())));
}
