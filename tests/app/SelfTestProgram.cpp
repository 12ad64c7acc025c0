// Runs the self-test over several plug-ins, with hosts of the caller's choice:
// self-test-program CLOCK HOST PLUGIN..., where HOST is the path of the program that hosts run, "local", or
// "never-ends" for a proxy whose end never comes.
//
// CLOCK is a directory by which the test turns the clock of the steps. A file in it that is named like what
// the current step waits for makes an hour pass, and is removed. A step may take half an hour.

#include "app/SelfTest.h"
#include "client/PluginHostProxy.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequest.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>
#include <utility>

namespace {

constexpr double hour = 3600; // seconds

class TurnedClock {
public:
    explicit TurnedClock(const char* directory) : directory(directory) {}

    double operator()(const char* subject) {
        // The beginning of a step: what hangs may do so since an earlier one.
        if (std::exchange(current, subject) != subject)
            return hours * hour;
        std::error_code ignored;
        if (std::filesystem::remove(std::filesystem::path(directory) / subject, ignored))
            ++hours;
        return hours * hour;
    }

private:
    std::string directory;
    std::string current;
    int hours = 0;
};

/// Refuses every plug-in, and blocks whoever lets go of it; turns the clock by then.
class NeverEndingProxy : public PluginHostProxy {
public:
    explicit NeverEndingProxy(const std::string& clock) : clock(clock) {}

    int32_t createPluginInstance(const String&, const String&, const String&, bool,
                                 const Ref<PluginHostNotificationListener>&,
                                 const Ref<PluginHostAsyncReplyHandler>&) override {
        throw PluginException("Refused");
    }
    void removePluginInstance(int32_t) override {}
    Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>&,
                                     const Ref<PluginHostAsyncReplyHandler>&) override {
        return nullptr;
    }
    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply&) override { return nullptr; }
    bool abandon() override { return false; }
    bool isClosed() const override { return false; }
    bool prepareForDeletion() override {
        std::ofstream(clock + "/plug-in host to end") << "an hour";
        for (;;)
            pause();
    }

protected:
    void addPluginInstance(int32_t, const Ref<PluginHostNotificationListener>&) override {}

private:
    std::string clock;
};

class NeverEndingProvider : public TestProxyProvider {
public:
    explicit NeverEndingProvider(const std::string& clock) : clock(clock) {}
    Ref<PluginHostProxy> createProxy() override { return new NeverEndingProxy(clock); }
    bool canBeInterrupted() const override { return true; }

private:
    std::string clock;
};

Ref<TestProxyProvider> providerOf(const std::string& host, const char* clock) {
    if (host == "local")
        return new LocalTestProxyProvider;
    if (host == "never-ends")
        return new NeverEndingProvider(clock);
    return new SandboxedTestProxyProvider(host.c_str());
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3)
        return EXIT_FAILURE;
    const std::vector<String> files(arguments + 3, arguments + argumentCount);
    return SelfTest(providerOf(arguments[2], arguments[1]), files, hour / 2, TurnedClock(arguments[1])).run();
}
