// If these fail, a client of the real program can't use a VST 3 plug-in as it uses any other: it hears
// nothing of what the plug-in reports, or loses more than the plug-in's own host when that crashes.

#include "process/ProcessTest.h"

#include <csignal>
#include <sys/wait.h>

namespace {

constexpr int32_t instance = 2;
const std::string editsPath = TEST_PLUGIN_DIRECTORY "/edits-from-its-own-thread.vst3";
const std::string crashesPath = TEST_PLUGIN_DIRECTORY "/crashes-in-process.vst3";

void startProcessing(RawClient& client) {
    client.sendToWorker(0, bytes("00") + little(instance));
}

} // namespace

TEST(Vst3InAHost, APluginComesUpAndRendersABlock) {
    RawClient client;
    createInstance(client, instance, editsPath);
    RawBlock block(client.getHostId(), instance, 2, 2, 2);
    startProcessing(client);
    block.setInput(0, {0.5F, -1.0F});
    block.setInput(1, {0.25F});
    EXPECT_EQ(client.process(0, instance, 256), 1);
    EXPECT_EQ(block.output(0, 2), (std::vector<float>{-0.5F, 1.0F}));
    EXPECT_EQ(block.output(1, 1), std::vector<float>{-0.25F});
    EXPECT_TRUE(block.guardsAreWhole());
    expectNothingMore(client);
}

TEST(Vst3InAHost, AnEditOnThePluginsOwnThreadDuringABlockIsTold) {
    RawClient client;
    createInstance(client, instance, editsPath);
    RawBlock block(client.getHostId(), instance, 2, 2, 2);
    startProcessing(client);
    block.addChange(0, 1.0F);
    client.process(0, instance, 256);
    expectAsync(client, bytes("00 00 00 00 03 02 00 00 00 01 00 00 00 01") +              // begin
                            bytes("00 00 00 00 00 02 00 00 00 01 00 00 00 00 00 00 3F") + // 0.5
                            bytes("00 00 00 00 03 02 00 00 00 01 00 00 00 00"));          // end
    expectNothingMore(client);
}

TEST(Vst3InAHost, AnUnknownClassComesUpAsAnInstanceOfNothing) {
    RawClient client;
    createInstance(client, instance, editsPath, "0000");
    RawBlock block(client.getHostId(), instance, 0, 0, 0);
    startProcessing(client);
    EXPECT_EQ(client.process(0, instance, 256), 1);
}

TEST(Vst3InAHost, AModuleThatRefusesToBeLoadedIsAFailedRequestAndNoMore) {
    RawClient client;
    const std::string path = TEST_PLUGIN_DIRECTORY "/entry-returns-false.vst3";
    client.send(createFrame(1, instance, path));
    expectAsync(client, failureFrame(1, "Failed to initialized VST plug-in " + path +
                                            ": ModuleInit() returned false"));
    createInstance(client, instance, editsPath);
}

TEST(Vst3InAHost, APluginThatCrashesInABlockTakesDownItsOwnHostOnly) {
    RawClient other;
    createInstance(other, instance, editsPath);
    RawBlock block(other.getHostId(), instance, 2, 2, 2);
    startProcessing(other);
    block.setInput(0, {1.0F});
    RawClient client({.diesUnjoined = true});
    createInstance(client, instance, crashesPath);
    startProcessing(client);
    client.sendToWorker(0, bytes("02") + little(instance) + bytes("00 01 00 00 01 01"));
    const int status = client.waitForEnd();
    ASSERT_TRUE(WIFSIGNALED(status)) << client.standardError();
    EXPECT_EQ(WTERMSIG(status), SIGSEGV);
    EXPECT_TRUE(client.mainEnds());
    EXPECT_TRUE(client.workerEnds(0));
    other.process(0, instance, 256);
    EXPECT_EQ(block.output(0, 1)[0], -1.0F);
}

TEST(Vst3InAHost, NoClassOfAModuleOfSeveralComesUpAsAnInstanceOfNothingToo) {
    RawClient client;
    int32_t id = 0;
    // Empty chooses the only class, of which this module has three.
    for (const char* identifier : {"", "no class", "00000000000000000000000000000000"}) {
        ++id;
        client.send(createFrame(id, id, EXAMPLE_PLUGIN_DIRECTORY "/trio.vst3", identifier));
        // No channels, latency, editor, buses, parameters and programs.
        expectAsync(client, little(id) + bytes("01") + little(id) + Bytes(37, 0));
    }
}
