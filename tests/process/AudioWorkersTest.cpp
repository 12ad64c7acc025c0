// If these fail, a client and a host disagree about where the audio lies, a block gives silence or noise, or
// one worker's trouble becomes that of the whole host.

#include "process/ProcessTest.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

constexpr std::string_view workerName = "RemoteAudioThre"; // the system keeps 15 bytes

std::vector<float> ramp(size_t frames) {
    std::vector<float> samples(frames);
    for (size_t i = 0; i < frames; ++i)
        samples[i] = static_cast<float>(i + 1) / 1024;
    return samples;
}

bool isSilent(const std::vector<float>& samples, size_t from, size_t to) {
    return std::all_of(samples.begin() + static_cast<ptrdiff_t>(from),
                       samples.begin() + static_cast<ptrdiff_t>(to),
                       [](float sample) { return sample == 0.0F; });
}

Bytes startCommand(int32_t instanceId) {
    return bytes("00") + little(instanceId);
}

Bytes stopCommand(int32_t instanceId) {
    return bytes("01") + little(instanceId);
}

int countWorkers(const RawClient& client) {
    const std::vector<std::string> names = client.threadNames();
    return static_cast<int>(std::count(names.begin(), names.end(), workerName));
}

TEST(AudioBlock, OfTwoInputsTwoOutputsAndThreeParametersLiesWhereTheFormatSays) {
    RawClient client;
    createInstance(client, 1, echoPath);
    const RawBlock block(client.getHostId(), 1, 2, 2, 3);
    EXPECT_EQ(block.offsets.size, 138016u);
    EXPECT_EQ(block.offsets.guards,
              (std::array<size_t, 8>{0, 112, 2176, 4240, 11696, 19152, 137968, 138000}));
    EXPECT_EQ(block.offsets.transport, 16u);
    EXPECT_EQ(block.offsets.inputAudio, 128u);
    EXPECT_EQ(block.offsets.outputAudio, 2192u);
    EXPECT_EQ(block.offsets.inputEventCount, 4256u);
    EXPECT_EQ(block.offsets.inputEvents, 4272u);
    EXPECT_EQ(block.offsets.outputEventCount, 11712u);
    EXPECT_EQ(block.offsets.outputEvents, 11728u);
    EXPECT_EQ(block.offsets.parameterChangeCount, 19168u);
    EXPECT_EQ(block.offsets.parameterChanges, 19184u);
    EXPECT_EQ(block.offsets.parameterFlags, 137984u);
    // Fresh, it is all zero but for the guards.
    EXPECT_TRUE(block.guardsAreWhole());
    size_t guardBytes = 0;
    size_t zeroBytes = 0;
    for (size_t i = 0; i < block.offsets.size; ++i) {
        guardBytes += block.byteAt(i) == 0xBB ? 1 : 0;
        zeroBytes += block.byteAt(i) == 0 ? 1 : 0;
    }
    EXPECT_EQ(guardBytes, 128u);
    EXPECT_EQ(zeroBytes, 138016u - 128u);
}

TEST(AudioBlock, WithoutInputsHasTwoGuardsNextToEachOther) {
    RawClient client;
    createInstance(client, 1, tonePath);
    const RawBlock block(client.getHostId(), 1, 0, 2, 2);
    EXPECT_EQ(block.offsets.guards[1], 112u);
    EXPECT_EQ(block.offsets.guards[2], 128u);
    EXPECT_EQ(block.offsets.size, 135968u);
    EXPECT_TRUE(block.guardsAreWhole());
}

TEST(AudioBlock, WithoutParametersHasNoRoomForFlags) {
    RawClient client;
    createInstance(client, 1, trioPath, upsideDownIdentifier);
    const RawBlock block(client.getHostId(), 1, 2, 2, 0);
    EXPECT_EQ(block.offsets.size, 138000u);
    EXPECT_EQ(block.offsets.guards[7], 137984u);
    EXPECT_TRUE(block.guardsAreWhole());
}

TEST(AudioBlock, PadsTheChannelsOfAnOddBlockSize) {
    RawClient client({.blockSize = "250"});
    createInstance(client, 1, trioPath, upsideDownIdentifier);
    RawBlock block(client.getHostId(), 1, 2, 2, 0, 250);
    EXPECT_EQ(block.offsets.outputAudio, 128u + 2u * 252u * 4u + 16u);
    block.setInput(1, ramp(250));
    client.sendToWorker(0, startCommand(1));
    client.process(0, 1, 250);
    const std::vector<float> output = block.output(1, 252);
    EXPECT_EQ(output[0], -1.0F / 1024);
    EXPECT_EQ(output[249], -250.0F / 1024);
    EXPECT_EQ(output[250], 0.0F);
    EXPECT_TRUE(block.guardsAreWhole());
}

TEST(AudioWorker, AnswersABlockWithItsResultHighestByteFirst) {
    RawClient client;
    createInstance(client, 1, echoPath);
    client.sendToWorker(0, bytes("00 01 00 00 00"));
    client.sendToWorker(0, bytes("02 01 00 00 00 00 01 00 00 01 01"));
    EXPECT_EQ(readable(client.readWorker(0, 4)), "00 00 00 01 ");
    client.sendToWorker(0, bytes("02 01 00 00 00 00 01 00 00 00 01"));
    EXPECT_EQ(readable(client.readWorker(0, 4)), "00 00 00 02 ");
    client.sendToWorker(0, bytes("01 01 00 00 00"));
    client.sendToWorker(0, bytes("02 01 00 00 00 00 00 00 00 01 00"));
    EXPECT_EQ(readable(client.readWorker(0, 4)), "00 00 00 01 ");
}

TEST(AudioWorker, RendersTheInputOfTheBlockAndLeavesTheGuardsWhole) {
    RawClient client;
    createInstance(client, 1, trioPath, upsideDownIdentifier);
    RawBlock block(client.getHostId(), 1, 2, 2, 0);
    const std::vector<float> input = ramp(256);
    block.setInput(0, input);
    client.sendToWorker(0, startCommand(1));
    EXPECT_EQ(client.process(0, 1, 256, false), 0); // a tail of 1 is none
    const std::vector<float> output = block.output(0, 256);
    for (size_t i = 0; i < 256; ++i)
        ASSERT_EQ(output[i], -input[i]) << i;
    EXPECT_TRUE(isSilent(block.output(1, 256), 0, 256) || block.output(1, 256)[0] == -0.0F);
    for (int i = 0; i < 100; ++i)
        client.process(0, 1, 256);
    EXPECT_TRUE(block.guardsAreWhole());
}

TEST(AudioWorker, NotesAndParameterChangesOfABlockAreHeardInIt) {
    RawClient client;
    createInstance(client, 1, tonePath);
    RawBlock block(client.getHostId(), 1, 0, 2, 2);
    client.sendToWorker(0, startCommand(1));
    client.process(0, 1, 256);
    EXPECT_TRUE(isSilent(block.output(0, 256), 0, 256));

    block.addMidi(100, 0x90, 69, 127);
    block.addChange(0, 1.0F);
    client.process(0, 1, 256);
    const std::vector<float> loud = block.output(0, 256);
    EXPECT_TRUE(isSilent(loud, 0, 100));
    EXPECT_FALSE(isSilent(loud, 102, 256));
    EXPECT_GT(*std::max_element(loud.begin(), loud.end()), 0.4F);
    EXPECT_EQ(loud, block.output(1, 256));

    block.clearLists();
    block.addChange(0, 0.0F);
    client.process(0, 1, 256);
    EXPECT_TRUE(isSilent(block.output(0, 256), 0, 256));
    EXPECT_TRUE(block.guardsAreWhole());
}

TEST(AudioWorker, BeforeTheStartAppliesChangesAndRendersNothing) {
    RawClient client;
    createInstance(client, 1, echoPath);
    RawBlock block(client.getHostId(), 1, 2, 2, 3);
    block.setInput(0, ramp(256));
    block.addChange(2, 0.0F); // dry
    EXPECT_EQ(client.process(0, 1, 256, false), 2);
    EXPECT_TRUE(isSilent(block.output(0, 256), 0, 256));
    block.clearLists();
    client.sendToWorker(0, startCommand(1));
    client.process(0, 1, 256);
    EXPECT_EQ(block.output(0, 256), ramp(256));
    client.sendToWorker(0, stopCommand(1));
    block.setInput(0, std::vector<float>(256, 0.0F));
    client.process(0, 1, 256);
    EXPECT_EQ(block.output(0, 256), ramp(256));
}

TEST(AudioWorker, PassesOverACommandByteThatItDoesNotKnow) {
    RawClient client;
    createInstance(client, 1, echoPath);
    client.sendToWorker(0, bytes("03 FF 03") + bytes("02 01 00 00 00 00 00 00 00 01 01"));
    EXPECT_EQ(readable(client.readWorker(0, 4)), "00 00 00 01 ");
}

TEST(AudioWorker, ThatLosesItsClientSaysSoAndTheHostLivesUntilTheMainPipeGoes) {
    RawClient client;
    createInstance(client, 1, echoPath);
    client.closeWorker(0);
    client.waitForError("Lost connection on audio thread: ");
    client.synchronise();
    waitUntil("the end of the worker's thread", [&] { return countWorkers(client) == 0; });
    client.send(updateIoFrame(9, 1));
    expectAsync(client, bytes("09 00 00 00 01 01 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00") + echoState);
    client.closeMain();
    const int status = client.waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << client.standardError();
}

TEST(AudioWorker, ThatEndsClosesItsStreamsSoThatAWaitingClientSeesTheEnd) {
    RawClient client;
    createInstance(client, 1, echoPath);
    client.closeWorkerCommands(0);
    EXPECT_TRUE(client.workerEnds(0));
    client.synchronise();
}

TEST(AudioWorker, ThatReadsAnImpossibleFlagEndsAndTheHostGoesOn) {
    RawClient client({.workers = 2});
    createInstance(client, 1, echoPath);
    client.sendToWorker(0, bytes("02 01 00 00 00 00 01 00 00 02 01"));
    client.waitForError("Lost connection on audio thread: Unexpected value for bool\n");
    EXPECT_TRUE(client.workerEnds(0));
    EXPECT_EQ(client.process(1, 1, 256), 1);
    client.synchronise();
}

TEST(AudioWorker, AnInstanceMayMoveFromOneWorkerToAnother) {
    RawClient client({.workers = 2});
    createInstance(client, 1, trioPath, upsideDownIdentifier);
    RawBlock block(client.getHostId(), 1, 2, 2, 0);
    client.sendToWorker(1, startCommand(1));
    for (int32_t i = 0; i < 10; ++i) {
        block.setInput(0, std::vector<float>(256, static_cast<float>(i)));
        client.process(1 - i % 2, 1, 256);
        EXPECT_EQ(block.output(0, 1)[0], -static_cast<float>(i));
    }
}

TEST(AudioWorkers, OpenTheirPipesIndependently) {
    RawClient client({.workers = 2, .firstOpenWorker = 1});
    createInstance(client, 1, echoPath);
    EXPECT_EQ(client.process(1, 1, 256), 1);
    client.openWorker(0);
    EXPECT_EQ(client.process(0, 1, 256), 1);
}

TEST(AudioWorkers, ThatNeverOpenedDoNotKeepTheHostFromEnding) {
    RawClient client({.workers = 2, .firstOpenWorker = 1});
    client.synchronise();
    client.send(bytes("0C"));
    const int status = client.waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << client.standardError();
}

TEST(AudioWorkers, AreAsManyAsTheCommandLineSays) {
    for (const int32_t workers : {0, 1, 2}) {
        RawClient client({.workers = workers});
        client.synchronise();
        EXPECT_EQ(countWorkers(client), workers);
    }
}

TEST(HostThreads, CarryTheirNamesAndTheMainThreadThatOfThePluginLoadedLast) {
    RawClient client;
    client.synchronise();
    EXPECT_EQ(client.threadNames()[0], "plugin-host");
    // A thread names itself once it runs.
    for (const char* name : {"RemoteAudioThre", "RemotePluginHos", "XDisplayThread"})
        waitUntil(name, [&] { return client.findThread(name) != 0; });
    createInstance(client, 1, echoPath);
    EXPECT_EQ(client.threadNames()[0], "Echo");
    createInstance(client, 2, reportsPath);
    EXPECT_EQ(client.threadNames()[0], "Reports When As");
    client.send(destroyFrame(2));
    client.synchronise();
    EXPECT_EQ(client.threadNames()[0], "Reports When As");
}

TEST(HostThreads, AWorkerAsksForRealTimeAndTheLinesTellWhatItGot) {
    const rlimit limit{95, 95};
    RawClient client({.limits = {{RLIMIT_RTPRIO, limit}}});
    client.synchronise();
    const pid_t worker = client.findThread(std::string(workerName));
    ASSERT_NE(worker, 0);
    const auto told = [&client] {
        return (client.standardOutput() + client.standardError()).find("realtime priority") !=
               std::string::npos;
    };
    waitUntil("the line of the worker's priority", told);
    sched_param parameters{};
    sched_getparam(worker, &parameters);
    if (client.standardOutput() == "Successfully set thread realtime priority to 19\n") {
        EXPECT_EQ(sched_getscheduler(worker), SCHED_FIFO);
        EXPECT_EQ(parameters.sched_priority, 19);
    } else {
        // The machine may allow less than the limit asks for.
        EXPECT_NE(client.standardError().find("Error setting realtime priority for thread to "),
                  std::string::npos)
            << client.standardOutput();
        EXPECT_EQ(sched_getscheduler(worker), SCHED_OTHER);
    }
    // Everybody else stays with the ordinary scheduler.
    EXPECT_EQ(sched_getscheduler(client.getHostProcess()), SCHED_OTHER);
    EXPECT_EQ(sched_getscheduler(client.findThread("RemotePluginHos")), SCHED_OTHER);
}

TEST(HostThreads, DenormalsAreZeroOnAWorkerAndKeptOnTheMainThread) {
    RawClient client;
    createInstance(client, 1, TEST_PLUGIN_DIRECTORY "/watches-denormals.so");
    RawBlock block(client.getHostId(), 1, 2, 2, 1);
    client.sendToWorker(0, startCommand(1));
    client.process(0, 1, 256);
    EXPECT_EQ(block.output(0, 1)[0], 1.0F);
    client.send(updateIoFrame(9, 1));
    client.synchronise();
    EXPECT_NE(readable(client.takeAsync()).find(readable(bytes("00 00 00 04 'kept'"))), std::string::npos);
}

TEST(AudioWorker, ThatIsToldAnUnknownInstanceTakesTheHostDownByAFault) {
    for (const char* command : {"00 07 00 00 00", "01 07 00 00 00", "02 07 00 00 00 00 01 00 00 01 01"}) {
        RawClient client({.diesUnjoined = true});
        createInstance(client, 1, echoPath);
        client.sendToWorker(0, bytes(command));
        const int status = client.waitForEnd();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV)
            << command << ": " << status << client.standardError();
    }
}

TEST(AudioWorkers, RenderWhileOtherInstancesComeAndGo) {
    RawClient client({.workers = 2});
    createInstance(client, 1, trioPath, upsideDownIdentifier);
    RawBlock block(client.getHostId(), 1, 2, 2, 0);
    block.setInput(0, std::vector<float>(256, 0.5F));
    client.sendToWorker(1, startCommand(1));
    std::atomic<bool> stop = false;
    std::atomic<int> blocks = 0;
    std::string failure;
    std::thread renderer([&] {
        try {
            while (!stop) {
                client.process(1, 1, 256);
                ++blocks;
            }
        } catch (const std::exception& exception) {
            failure = exception.what();
        }
    });
    try {
        constexpr int rounds = 40;
        for (int32_t i = 0; i < rounds; ++i) {
            // 65 lies in the same bucket of a table of 64 as the instance that renders.
            const int32_t other = i % 2 == 0 ? 65 : 2;
            client.send(createFrame(5, other, echoPath));
            client.readAsync(22 + echoState.size());
            client.sendToWorker(0, startCommand(other));
            client.process(0, other, 256);
            client.sendToWorker(0, stopCommand(other));
            client.process(0, other, 0);
            client.send(destroyFrame(other));
            const int before = blocks;
            waitUntil("a block beside a destroy", [&] { return blocks > before || !failure.empty(); });
        }
        client.synchronise();
    } catch (const std::exception& exception) {
        ADD_FAILURE() << exception.what() << "\n" << client.standardError();
    }
    stop = true;
    renderer.join();
    EXPECT_EQ(failure, "");
    EXPECT_GT(blocks, 40);
    EXPECT_EQ(block.output(0, 1)[0], -0.5F);
    EXPECT_FALSE(blockExists(client.getHostId(), 2));
    EXPECT_FALSE(blockExists(client.getHostId(), 65));
}

} // namespace
