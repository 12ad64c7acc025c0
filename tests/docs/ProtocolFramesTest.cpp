// The dumps of docs/protocol.md against what client and host really put on their pipes: if these fail, whole
// frames, with their marks and order, aren't what the document shows.

#include "MarkdownDocument.h"
#include "WireFields.h"

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "core/NamedPipe.h"
#include "core/SharedMemory.h"
#include "host/PluginHost.h"
#include "host/RemotePluginHostProxyHandler.h"
#include "plugin/Channels.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "support/Eventually.h"
#include "support/LocalAudioContext.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>
#include <unistd.h>

using namespace test_support;
using base::core::NamedServerPipe;

namespace {

const MarkdownDocument& protocol() {
    static const MarkdownDocument document("docs/protocol.md");
    return document;
}

/// Ends the program if a pipe keeps a test waiting.
class Watchdog {
public:
    Watchdog() { alarm(30); }
    ~Watchdog() { alarm(0); }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
};

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A program that stands in for a host: opens its pipes in the order of the document, answers one ping and
/// one block before they are asked, and keeps what the client sends.
class RecordingHost {
public:
    RecordingHost()
        : path(std::filesystem::temp_directory_path() / ("recording-host-" + std::to_string(getpid()))) {
        std::ofstream(path) << R"(#!/bin/sh
pipes="/tmp/pipes-$USER/tanvex/engine/plugin$4"
exec 3<"$pipes/main-to-client" 4>"$pipes/main-from-client" 5>"$pipes/async-replies-from-client"
exec 6<"$pipes/worker0-to-client" 7>"$pipes/worker0-from-client"
printf '\001' >&4
printf '\000\000\000\001' >&7
cat <&6 >"$0.worker" 3<&- 4>&- 5>&- 7>&- &
exec 6<&- 7>&-
cat <&3 >"$0.main"
)";
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    ~RecordingHost() {
        for (const char* suffix : {"", ".main", ".worker"}) {
            std::error_code ignored;
            std::filesystem::remove(path + suffix, ignored);
        }
    }
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    const std::string path;
};

/// The client's ends of the pipes of a handler.
class HandlerPipes {
public:
    HandlerPipes()
        : mainPipe(NamedServerPipe::create(mainChannelName(hostId), true)),
          asyncPipe(NamedServerPipe::create(asyncChannelName(hostId), false)),
          handler(new RemotePluginHostProxyHandler(nullptr, hostId)) {
        std::thread opener([this] { handler->openPipes(); });
        mainInput = mainPipe->open()->getInput();
        asyncInput = asyncPipe->open()->getInput();
        opener.join();
    }

    std::string readAsync(size_t size) { return read(*asyncInput, size); }
    std::string readMain(size_t size) { return read(*mainInput, size); }

    RemotePluginHostProxyHandler& get() { return *handler; }

private:
    static constexpr int32_t hostId = 77;

    static std::string read(InputStream& stream, size_t size) {
        std::string bytes(size, '\0');
        stream.readFully(bytes.data(), size);
        return bytes;
    }

    Ref<NamedServerPipe> mainPipe;
    Ref<NamedServerPipe> asyncPipe;
    Ref<RemotePluginHostProxyHandler> handler;
    Ref<InputStream> mainInput;
    Ref<InputStream> asyncInput;
};

template <class Reply>
Ref<Reply> replyFromDump(const char* name) {
    const std::string payload = protocol().dump(name).substr(5);
    return new Reply(*streamOver(payload));
}

} // namespace

TEST(ProtocolDocument, ShowsTheFramesThatAClientSends) {
    const Watchdog watchdog;
    const RecordingHost recorder;
    Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(recorder.path.c_str()));
    ASSERT_EQ(proxy->createPluginInstance("/p/echo.so", "/p/a.fxp", "42", false, nullptr, nullptr), 1);
    proxy->updateIO(1, nullptr);
    proxy->loadPreset(1, "/p/a.fxp", nullptr);
    proxy->savePreset(1, "/p/b.fxp", nullptr);
    proxy->openGUI(1, 0x0400001E, true, "Echo");
    proxy->setWindowTitle(1, "\xC3\x89"
                             "cho");
    proxy->setWindowPosition(1, 10, 20, 300, 200);
    proxy->setCurrentProgram(1, 5);
    proxy->hideAllGUIs();
    proxy->showAllGUIs();
    proxy->activateAppGUI();
    proxy->deactivateAppGUI();
    proxy->ping();
    proxy->closeGUI(1);

    const auto reply = replyFromDump<CreatePluginInstanceReply>("CreatePluginInstanceReply");
    const LocalAudioContext layout(proxy->getBlockSize(), reply->inputChannelCount, reply->outputChannelCount,
                                   static_cast<int32_t>(reply->state->parameters.size()));
    const auto memory = base::core::SharedMemory::create(audioBlockName(proxy->getHostId(), 1),
                                                         layout.getRegions().memorySize);
    Ref<RemotePluginAudioContextProxy> context(new RemotePluginAudioContextProxy(proxy, *reply));
    context->startProcessing();
    EXPECT_EQ(context->process(256, true, true), 1);
    context->stopProcessing();
    context = nullptr;

    proxy->destroyPluginInstance(1);
    proxy->shutdown();
    proxy = nullptr;

    std::string requests;
    for (const char* name :
         {"CreatePluginInstanceRequest", "UpdateIORequest", "LoadPresetRequest", "SavePresetRequest",
          "OpenGUIRequest", "SetWindowTitleRequest", "SetWindowPositionRequest", "SetCurrentProgramRequest",
          "HideAllGUIsRequest", "ShowAllGUIsRequest", "ActivateAppGUIRequest", "DeactivateAppGUIRequest",
          "PingRequest", "CloseGUIRequest", "DestroyPluginInstanceRequest", "ShutdownRequest"})
        requests += protocol().dump(name);
    EXPECT_EQ(toHex(readFile(recorder.path + ".main")), toHex(requests));
    const std::string commands =
        protocol().dump("startProcessing") + protocol().dump("process") + protocol().dump("stopProcessing");
    EXPECT_TRUE(eventually([&] { return readFile(recorder.path + ".worker").size() >= commands.size(); }))
        << "The worker's commands never came";
    EXPECT_EQ(toHex(readFile(recorder.path + ".worker")), toHex(commands));
}

TEST(ProtocolDocument, ShowsTheRepliesThatAHostSends) {
    const Watchdog watchdog;
    HandlerPipes pipes;
    const auto expectReply = [&](PluginHostRequest& request, int32_t requestId, PluginHostReply& reply,
                                 const char* name) {
        request.requestId = requestId;
        pipes.get().sendReply(request, reply);
        const std::string dump = protocol().dump(name);
        EXPECT_EQ(toHex(pipes.readAsync(dump.size())), toHex(dump)) << name;
    };
    CreatePluginInstanceRequest& create = *new CreatePluginInstanceRequest;
    const Ref<PluginHostRequest> heldCreate(&create);
    expectReply(create, 1, *replyFromDump<CreatePluginInstanceReply>("CreatePluginInstanceReply"),
                "CreatePluginInstanceReply");
    const Ref<UpdateIORequest> update(new UpdateIORequest(1));
    expectReply(*update, 2, *replyFromDump<DefineIoReply>("DefineIoReply"), "DefineIoReply");
    const Ref<LoadPresetRequest> load(new LoadPresetRequest(1, "/p/a.fxp"));
    expectReply(*load, 3, *Ref<LoadPresetReply>(new LoadPresetReply(1, "/p/a.fxp")), "LoadPresetReply");
    const Ref<SavePresetRequest> save(new SavePresetRequest(1, "/p/b.fxp"));
    expectReply(*save, 4, *Ref<SavePresetReply>(new SavePresetReply(1, "/p/b.fxp")), "SavePresetReply");

    create.requestId = 1;
    pipes.get().sendError(create, "Failed");
    const std::string failure = protocol().dump("asynchronous-failure");
    EXPECT_EQ(toHex(pipes.readAsync(failure.size())), toHex(failure));

    const Ref<PingRequest> ping(new PingRequest);
    pipes.get().sendEmptyReply(*ping);
    EXPECT_EQ(toHex(pipes.readMain(1)), toHex(protocol().dump("ping-reply")));
}

TEST(ProtocolDocument, ShowsTheNotificationsThatAHostSends) {
    const Watchdog watchdog;
    HandlerPipes pipes;
    const auto expectSent = [&](const Ref<PluginHostNotification>& notification) {
        const std::string name = className(*notification);
        pipes.get().sendNotification(*notification);
        const std::string dump = protocol().dump(name);
        EXPECT_EQ(toHex(pipes.readAsync(dump.size())), toHex(dump)) << name;
    };
    const std::string two = int32nBytes(2) + std::string(64, '\0');
    const Ref<UpdateParameterNotification> value(new UpdateParameterNotification(*streamOver(two), nullptr));
    value->parameterIndex = 3;
    value->value = 0.5F;
    expectSent(value);
    const Ref<UpdateParameterDisplayNotification> display(
        new UpdateParameterDisplayNotification(*streamOver(two), nullptr));
    display->parameterIndex = 3;
    display->name = "Gain";
    display->display = "6 dB";
    expectSent(display);
    const Ref<UpdateAllParametersNotification> all(
        new UpdateAllParametersNotification(*streamOver(two), nullptr));
    all->state->latency = 64;
    expectSent(all);
    expectSent(new BeginOrEndEditParameterNotification(2, nullptr, 3, true));
    expectSent(new PluginWindowClosedNotification(5, nullptr));
    expectSent(new PluginWindowMovedNotification(1, nullptr, 10, 20, 300, 200));
}
