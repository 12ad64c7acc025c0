// If these fail, a client and a host don't understand each other: replies come in other bytes than the
// protocol's, don't come at all, or come where none is expected.

#include "process/ProcessTest.h"
#include "support/TestDirectory.h"

#include <filesystem>
#include <fstream>

using namespace test_support;

namespace {

TEST(HostRequests, APingIsTheByte0DAndItsAnswerTheByte01) {
    RawClient client;
    client.send(bytes("0D"));
    EXPECT_EQ(readable(client.readMain(1)), "01 ");
    EXPECT_EQ(readable(client.takeAsync()), "");
}

TEST(HostRequests, ACreatedEffectIsDescribedByteByByte) {
    RawClient client;
    client.send(bytes("00 09 00 00 00 07 00 00 00") + text(echoPath) + bytes("00 00 00 00 00 00 00 00 00"));
    expectAsync(client, bytes("09 00 00 00 01") +
                            bytes("07 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00 01") + echoState);
    expectNothingMore(client);
}

TEST(HostRequests, ACreatedInstrumentHasNoInputBus) {
    RawClient client;
    client.send(createFrame(2, 1, tonePath));
    expectAsync(
        client,
        bytes("02 00 00 00 01") + bytes("01 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 01") +
            bytes("00 00 00 00") +
            bytes("01 00 00 00 00 00 00 0A 'Stereo Out' 00 00 00 02 00 00 00 00 00 00 00 01") +
            bytes("02 00 00 00") +
            bytes("00 00 00 06 'Volume' 00 00 00 00 00 00 00 02 '50' 00 00 00 01 '%' 00 00 00 00") +
            bytes("00 00 00 3F 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00") +
            bytes("00 00 00 07 'Release' 00 00 00 00 00 00 00 03 '300' 00 00 00 02 'ms' 00 00 00 00") +
            bytes("9A 99 19 3E 01 00 00 00 01 00 00 00 00 00 00 00 00 00 00") +
            bytes("00 00 00 00 00 00 00 00 00 00 00 00"));
    expectNothingMore(client);
}

TEST(HostRequests, TheIdentifierChoosesAPluginOfAShell) {
    RawClient client;
    client.send(createFrame(3, 5, trioPath, "1416776815")); // the bytes 'TrLo', highest first
    expectAsync(client,
                bytes("03 00 00 00 01 05 00 00 00 02 00 00 00 02 00 00 00 40 00 00 00 01") +
                    bytes("01 00 00 00 00 00 00 09 'Stereo In' 00 00 00 02 00 00 00 00 00 00 00 01") +
                    bytes("01 00 00 00 00 00 00 0A 'Stereo Out' 00 00 00 02 00 00 00 00 00 00 00 01") +
                    bytes("01 00 00 00") +
                    bytes("00 00 00 04 'Gain' 00 00 00 00 00 00 00 04 '0.50' 00 00 00 00 00 00 00 00") +
                    bytes("00 00 00 3F 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00") +
                    bytes("00 00 00 00 00 40 00 00 00 00 00 00"));
    client.send(createFrame(4, 6, trioPath, upsideDownIdentifier));
    expectAsync(client,
                bytes("04 00 00 00 01 06 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00 00") +
                    bytes("01 00 00 00 00 00 00 09 'Stereo In' 00 00 00 02 00 00 00 00 00 00 00 01") +
                    bytes("01 00 00 00 00 00 00 0A 'Stereo Out' 00 00 00 02 00 00 00 00 00 00 00 01") +
                    bytes("00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"));
    expectNothingMore(client);
}

TEST(HostRequests, LatencyAndProgramsStandInTheReply) {
    RawClient client;
    client.send(createFrame(1, 2, reportsPath));
    const auto parameter = [](std::string_view name, std::string_view id) {
        return bytes("00 00 00 01") + bytes(name) + bytes("00 00 00 00 00 00 00 04 '0.00'") +
               bytes("00 00 00 00 00 00 00 00 00 00 00 00") + bytes(id) +
               bytes("00 00 00 01 00 00 00 00 00 00 00 00 00 00");
    };
    expectAsync(client,
                bytes("01 00 00 00 01 02 00 00 00 02 00 00 00 02 00 00 00 40 00 00 00 00") +
                    bytes("01 00 00 00 00 00 00 09 'Stereo In' 00 00 00 02 00 00 00 00 00 00 00 01") +
                    bytes("01 00 00 00 00 00 00 0A 'Stereo Out' 00 00 00 02 00 00 00 00 00 00 00 01") +
                    bytes("04 00 00 00") + parameter("'A'", "00") + parameter("'B'", "01") +
                    parameter("'C'", "02") + parameter("'D'", "03") +
                    bytes("01 00 00 00 00 00 00 04 'Only'") + bytes("00 40 00 00 00 00 00 00"));
    expectNothingMore(client);
}

TEST(HostRequests, AMissingFileFailsTheCreateWithTheLoadersWords) {
    RawClient client;
    client.send(createFrame(1, 1, "/nowhere/echo.so"));
    expectAsync(client,
                failureFrame(1, "Failed to load VST plug-in /nowhere/echo.so: /nowhere/echo.so: cannot "
                                "open shared object file: No such file or directory"));
    expectNothingMore(client);
}

TEST(HostRequests, TextBeyondAsciiTravelsInTwoBytesACharacter) {
    RawClient client;
    client.send(bytes("00 01 00 00 00 01 00 00 00") + bytes("80 00 00 05 00'.' 00'/' 00E9 00'.' 00'a'") +
                bytes("00 00 00 00 00 00 00 00 00"));
    // A count of code points with the top bit set, then UTF-16, highest byte first.
    const std::string_view before = "Failed to load VST plug-in ./";
    const std::string_view between = ".a: ./";
    const std::string_view after = ".a: cannot open shared object file: No such file or directory";
    Bytes expected = bytes("01 00 00 00 00 80 00 00");
    expected.push_back(static_cast<uint8_t>(before.size() + between.size() + after.size() + 2));
    const auto widen = [&expected](std::string_view part) {
        for (const char character : part) {
            expected.push_back(0);
            expected.push_back(static_cast<uint8_t>(character));
        }
    };
    widen(before);
    expected = expected + bytes("00 E9");
    widen(between);
    expected = expected + bytes("00 E9");
    widen(after);
    expectAsync(client, expected);
    expectNothingMore(client);
}

TEST(HostRequests, AFileThatIsNoPluginFailsTheCreate) {
    RawClient client;
    client.send(createFrame(1, 1, TEST_PLUGIN_DIRECTORY "/no-entry-point-for-a-host.so"));
    expectAsync(client, failureFrame(1, "Plugin main function not found"));
    client.send(createFrame(2, 1, TEST_PLUGIN_DIRECTORY "/gives-no-effect-to-a-host.so"));
    expectAsync(client, failureFrame(2, "createAEffectInstance returned NULL."));
    client.send(createFrame(3, 1, TEST_PLUGIN_DIRECTORY "/gives-bad-magic-to-a-host.so"));
    expectAsync(client, failureFrame(3, "createAEffectInstance returned NULL."));
    client.send(createFrame(4, 1, echoPath, "abc"));
    expectAsync(client, failureFrame(4, "Invalid number: abc"));
    expectNothingMore(client);
}

TEST(HostRequests, AVst3PathFailsTheCreateAndTheHostGoesOn) {
    RawClient client;
    client.send(createFrame(1, 1, "/nowhere/some.vst3"));
    EXPECT_EQ(readable(client.readAsync(5)), "01 00 00 00 00 ");
    client.synchronise();
}

TEST(HostRequests, APresetInACreateFailsItAndLeavesAnInstanceThatAnswers) {
    RawClient client;
    client.send(createFrame(1, 4, echoPath, "", "/nowhere/bright.fxp"));
    EXPECT_EQ(readable(client.readAsync(5)), "01 00 00 00 00 ");
    client.synchronise();
    client.takeAsync();
    EXPECT_FALSE(blockExists(client.getHostId(), 4));

    client.send(bytes("04 02 00 00 00 04 00 00 00"));
    expectAsync(client, bytes("02 00 00 00 01 04 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00") + echoState);

    // It renders nothing, and its tail is judged all the same.
    client.sendToWorker(0, bytes("00 04 00 00 00"));
    EXPECT_EQ(client.process(0, 4, 256, true), 1);
    EXPECT_EQ(client.process(0, 4, 256, false), 2);
    expectNothingMore(client);
}

TEST(HostRequests, AnUpdateIoRequestIsAnsweredWithTheStateOfNow) {
    RawClient client;
    createInstance(client, 3, echoPath);
    client.send(bytes("04 09 00 00 00 03 00 00 00"));
    expectAsync(client, bytes("09 00 00 00 01") + bytes("03 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00") +
                            echoState);
    expectNothingMore(client);
}

TEST(HostRequests, AnUnknownIdIsToldOnTheErrorStreamAndGetsNoReply) {
    RawClient client;
    client.send(bytes("01 2A 00 00 00"));                         // destroy 42
    client.send(bytes("05 01 00 00 00 2B 00 00 00") + text("a")); // load a preset into 43
    client.send(bytes("04 02 00 00 00 FF FF FF FF"));             // state of -1
    expectNothingMore(client);
    EXPECT_NE(client.standardError().find("No plugin instance found with id 42\n"), std::string::npos);
    EXPECT_NE(client.standardError().find("No plugin instance found with id 43\n"), std::string::npos);
    EXPECT_NE(client.standardError().find("No plugin instance found with id -1\n"), std::string::npos);
}

TEST(HostRequests, WindowRequestsForAnInstanceWithoutAWindowOnlyPass) {
    RawClient client;
    createInstance(client, 3, echoPath);
    client.send(bytes("0F 03 00 00 00 00 00 00 0A 00 00 00 14 00 00 01 2C 00 00 00 C8")); // position and size
    client.send(bytes("0E 03 00 00 00") + text("Title"));
    client.send(bytes("03 03 00 00 00")); // close
    client.send(bytes("09"));             // hide all
    client.send(bytes("08"));             // show all
    client.send(bytes("0A"));             // activate
    client.send(bytes("0B"));             // deactivate
    expectNothingMore(client);
    client.send(updateIoFrame(9, 3));
    expectAsync(client, bytes("09 00 00 00 01 03 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00") + echoState);
}

TEST(HostRequests, APresetIsSavedInFoldersThatAreMadeForItAndComesBack) {
    const TestDirectory directory;
    RawClient client({.directory = directory.path});
    createInstance(client, 3, echoPath);
    client.send(bytes("06 08 00 00 00 03 00 00 00") + text("sounds/bright.fxb"));
    expectAsync(client, bytes("08 00 00 00 01"));
    EXPECT_EQ(std::filesystem::file_size(directory / "sounds/bright.fxb"), 156u);
    client.send(bytes("05 07 00 00 00 03 00 00 00") + text("sounds/bright.fxb"));
    expectAsync(client, bytes("00 00 00 00 02 03 00 00 00") + echoState + bytes("07 00 00 00 01"));
    expectNothingMore(client);
}

TEST(HostRequests, APresetThatIsNotThereIsAFailure) {
    const TestDirectory directory;
    RawClient client({.directory = directory.path});
    createInstance(client, 3, echoPath);
    client.send(bytes("05 07 00 00 00 03 00 00 00") + text("bright.fxp"));
    EXPECT_EQ(readable(client.readAsync(5)), "07 00 00 00 00 ");
    client.synchronise();
}

TEST(HostRequests, APresetPathUnderAFileIsAFailureWithTheSystemsWords) {
    const std::string directory =
        std::filesystem::temp_directory_path() / ("plugin-host-file-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    std::ofstream(directory + "/file").put('x');
    {
        RawClient client({.directory = directory});
        createInstance(client, 3, echoPath);
        client.send(bytes("06 08 00 00 00 03 00 00 00") + text("file/below/bright.fxp"));
        EXPECT_EQ(readable(client.readAsync(5)), "08 00 00 00 00 ");
        client.synchronise();
    }
    std::filesystem::remove_all(directory);
}

TEST(HostRequests, RequestsAreDoneInTheOrderOfTheirArrival) {
    RawClient client;
    createInstance(client, 1, reportsPath);
    constexpr int32_t count = 50;
    Bytes stream;
    Bytes expected;
    for (int32_t i = 0; i < count; ++i) {
        // The plug-in reports as its program is set; a failure is a reply.
        stream = stream + setProgramFrame(1, 100 + i) + createFrame(1000 + i, 2, echoPath, "abc");
        expected = expected + bytes("00 00 00 00 00 01 00 00 00") + little(i) + bytes("00 00 00 3F") +
                   failureFrame(1000 + i, "Invalid number: abc");
    }
    client.send(stream);
    expectAsync(client, expected);
    expectNothingMore(client);
}

TEST(HostRequests, ARequestMayComeInPieces) {
    RawClient client;
    for (const uint8_t byte : createFrame(9, 3, echoPath)) {
        client.send({byte});
        pauseShortly();
    }
    expectAsync(client,
                bytes("09 00 00 00 01 03 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00 01") + echoState);
}

TEST(HostRequests, AnIdThatIsInUseKeepsItsInstance) {
    RawClient client;
    createInstance(client, 3, echoPath);
    client.send(createFrame(2, 3, tonePath));
    EXPECT_EQ(readable(client.readAsync(13)), "02 00 00 00 01 03 00 00 00 00 00 00 00 ");
    client.synchronise();
    client.takeAsync();
    client.send(updateIoFrame(9, 3));
    expectAsync(client, bytes("09 00 00 00 01 03 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00") + echoState);
    expectNothingMore(client);
}

TEST(HostRequests, ADestroyedInstanceIsUnknownAndItsBlockGone) {
    RawClient client;
    createInstance(client, 3, echoPath);
    createInstance(client, 4, echoPath);
    EXPECT_TRUE(blockExists(client.getHostId(), 3));
    client.send(bytes("01 03 00 00 00"));
    client.send(updateIoFrame(1, 3));
    expectNothingMore(client);
    EXPECT_NE(client.standardError().find("No plugin instance found with id 3\n"), std::string::npos);
    EXPECT_FALSE(blockExists(client.getHostId(), 3));
    EXPECT_TRUE(blockExists(client.getHostId(), 4));
}

TEST(HostRequests, AnIdMayComeBackAfterItsInstanceIsGone) {
    RawClient client;
    createInstance(client, 3, tonePath);
    client.send(destroyFrame(3));
    client.send(createFrame(9, 3, echoPath));
    expectAsync(client,
                bytes("09 00 00 00 01 03 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00 01") + echoState);
    EXPECT_TRUE(blockExists(client.getHostId(), 3));
}

} // namespace
