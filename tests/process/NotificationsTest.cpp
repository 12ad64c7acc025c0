// If these fail, a client doesn't hear what a plug-in changes by itself, hears it twice, or hears its own
// changes come back.

#include "process/ProcessTest.h"

#include <string_view>

namespace {

// Programs of the plug-in that reports as its program is set.
enum Report {
    automateHere = 1,
    automateOnOwnThread = 2,
    beginEdit = 3,
    endEdit = 4,
    updateDisplay = 5,
    changeIo = 6,
    updateDisplayTwice = 7,
    automateManyTimes = 8,
    automateWhenQuestioned = 9,
    automateInProcess = 10,
    editOnOwnThread = 11,
};

constexpr int32_t instance = 2;

class HostNotifications : public testing::Test {
protected:
    void SetUp() override { createInstance(client, instance, reportsPath); }

    void ask(Report report) { client.send(setProgramFrame(instance, report)); }

    RawClient client;
};

Bytes reportedParameter(std::string_view name, std::string_view display, std::string_view value,
                        std::string_view id) {
    return bytes("00 00 00 01") + bytes(name) + bytes("00 00 00 00 00 00 00 04") + bytes(display) +
           bytes("00 00 00 00 00 00 00 00") + bytes(value) + bytes(id) +
           bytes("00 00 00 01 00 00 00 00 00 00 00 00 00 00");
}

/// The state of the plug-in that reports, by its third parameter.
Bytes reportedState(std::string_view thirdDisplay = "'0.00'", std::string_view thirdValue = "00 00 00 00") {
    return bytes("01 00 00 00 00 00 00 09 'Stereo In' 00 00 00 02 00 00 00 00 00 00 00 01") +
           bytes("01 00 00 00 00 00 00 0A 'Stereo Out' 00 00 00 02 00 00 00 00 00 00 00 01") +
           bytes("04 00 00 00") + reportedParameter("'A'", "'0.00'", "00 00 00 00", "00") +
           reportedParameter("'B'", "'0.00'", "00 00 00 00", "01") +
           reportedParameter("'C'", thirdDisplay, thirdValue, "02") +
           reportedParameter("'D'", "'0.00'", "00 00 00 00", "03") + bytes("01 00 00 00 00 00 00 04 'Only'") +
           bytes("00 40 00 00 00 00 00 00");
}

const Bytes automation = bytes("00 00 00 00 00 02 00 00 00 03 00 00 00 00 00 00 3F");

TEST_F(HostNotifications, AnAutomationOnTheMainThreadIsAnUpdateOfAParameter) {
    ask(automateHere);
    expectAsync(client, automation);
    expectNothingMore(client);
}

TEST_F(HostNotifications, AnAutomationOnThePluginsOwnThreadArrivesToo) {
    ask(automateOnOwnThread);
    expectAsync(client, automation);
    expectNothingMore(client);
}

TEST_F(HostNotifications, AnAutomationFromInsideABlockArrives) {
    ask(automateInProcess);
    client.synchronise();
    client.sendToWorker(0, bytes("00") + little(instance));
    client.process(0, instance, 256);
    expectAsync(client, automation);
    expectNothingMore(client);
}

TEST_F(HostNotifications, EachAutomationIsSentAndInOrder) {
    ask(automateManyTimes);
    Bytes expected;
    for (int32_t i = 0; i < 100; ++i)
        expected = expected + bytes("00 00 00 00 00 02 00 00 00") + little(i) + bytes("00 00 00 3F");
    expectAsync(client, expected);
    expectNothingMore(client);
}

TEST_F(HostNotifications, TheBeginAndTheEndOfAnEditAreTold) {
    ask(beginEdit);
    expectAsync(client, bytes("00 00 00 00 03 02 00 00 00 03 00 00 00 01"));
    ask(endEdit);
    expectAsync(client, bytes("00 00 00 00 03 02 00 00 00 03 00 00 00 00"));
    ask(editOnOwnThread);
    expectAsync(client, bytes("00 00 00 00 03 02 00 00 00 03 00 00 00 01") +
                            bytes("00 00 00 00 03 02 00 00 00 03 00 00 00 00"));
    expectNothingMore(client);
}

TEST_F(HostNotifications, AChangedDisplayAndAChangedIoSendTheWholeState) {
    ask(updateDisplay);
    expectAsync(client, bytes("00 00 00 00 02 02 00 00 00") + reportedState());
    ask(changeIo);
    expectAsync(client, bytes("00 00 00 00 02 02 00 00 00") + reportedState());
    expectNothingMore(client);
}

TEST_F(HostNotifications, TwoFullUpdatesInARowSendTwoStates) {
    ask(updateDisplayTwice);
    const Bytes one = bytes("00 00 00 00 02 02 00 00 00") + reportedState();
    expectAsync(client, one + one);
    expectNothingMore(client);
}

TEST_F(HostNotifications, AFullUpdateThatRunsAfterTheDestroyIsDropped) {
    // Both requests are in the queue before the plug-in's thread adds its updates behind them.
    client.send(setProgramFrame(instance, updateDisplayTwice) + destroyFrame(instance));
    client.synchronise();
    // The first of the queue may have run before the destroy was read; then it is whole.
    const Bytes received = client.takeAsync();
    const Bytes one = bytes("00 00 00 00 02 02 00 00 00") + reportedState();
    EXPECT_TRUE(received.empty() || received == one || received == one + one) << readable(received);
    expectNothingMore(client);
}

TEST_F(HostNotifications, AnAutomationDuringASnapshotIsSwallowedAndItsValueIsInTheSnapshot) {
    ask(automateWhenQuestioned);
    client.send(updateIoFrame(9, instance));
    expectAsync(client, bytes("09 00 00 00 01 02 00 00 00 02 00 00 00 02 00 00 00 40 00 00 00") +
                            reportedState("'0.75'", "00 00 40 3F"));
    expectNothingMore(client);
}

TEST(HostNotificationsAtCreate, AnAutomationWhileThePluginIsBroughtUpIsNeverSent) {
    RawClient client;
    // It automates whenever it is switched on.
    client.send(createFrame(1, instance, reportsPath));
    expectAsync(client,
                bytes("01 00 00 00 01 02 00 00 00 02 00 00 00 02 00 00 00 40 00 00 00 00") + reportedState());
    expectNothingMore(client);
}

TEST_F(HostNotifications, AChangeOfAParameterThatTheUserHoldsIsDroppedAndNotAppliedLater) {
    RawBlock block(client.getHostId(), instance, 2, 2, 4);
    ask(beginEdit);
    client.synchronise();
    client.takeAsync();
    block.watch(3);
    block.watch(1);
    block.addChange(3, 0.5F);
    block.addChange(1, 0.5F);
    client.process(0, instance, 0);
    expectAsync(client, bytes("00 00 00 00 01 02 00 00 00 01 00 00 00 00 00 00 01 'B' 00 00 00 04 '0.50'"));
    ask(endEdit);
    expectAsync(client, bytes("00 00 00 00 03 02 00 00 00 03 00 00 00 00"));
    client.send(updateIoFrame(9, instance));
    const Bytes state = client.readAsync(21 + reportedState().size());
    const Bytes held = reportedParameter("'D'", "'0.00'", "00 00 00 00", "03");
    EXPECT_NE(readable(state).find(readable(held)), std::string::npos) << readable(state);

    block.clearLists();
    block.addChange(3, 0.25F);
    client.process(0, instance, 0);
    expectAsync(client, bytes("00 00 00 00 01 02 00 00 00 03 00 00 00 00 00 00 01 'D' 00 00 00 04 '0.25'"));
}

TEST(HostDisplayUpdates, AWatchedParameterIsToldWithinAPollAndOthersAreNot) {
    RawClient client;
    createInstance(client, 1, echoPath);
    RawBlock block(client.getHostId(), 1, 2, 2, 3);
    block.watch(2);
    block.addChange(0, 0.5F); // a poll goes by index: this one would be told first
    block.addChange(2, 0.25F);
    EXPECT_EQ(client.process(0, 1, 256), 1);
    expectAsync(client, bytes("00 00 00 00 01 01 00 00 00 02 00 00 00 00 00 00 03 'Mix' 00 00 00 02 '25'"));
    expectNothingMore(client);
    EXPECT_EQ(block.flags(0), 0);
    EXPECT_EQ(block.flags(2), 1);
}

TEST(HostDisplayUpdates, AnAutomationOfAWatchedParameterIsToldAsAValueAndAsADisplay) {
    RawClient client;
    createInstance(client, instance, reportsPath);
    RawBlock block(client.getHostId(), instance, 2, 2, 4);
    block.watch(3);
    client.send(setProgramFrame(instance, automateHere));
    expectAsync(client, automation);
    expectAsync(client, bytes("00 00 00 00 01 02 00 00 00 03 00 00 00 00 00 00 01 'D' 00 00 00 04 '0.00'"));
    expectNothingMore(client);
}

TEST(HostDisplayUpdates, ManyChangesBetweenTwoPollsGiveOneUpdateWithTheLastDisplay) {
    RawClient client;
    createInstance(client, 1, echoPath);
    RawBlock block(client.getHostId(), 1, 2, 2, 3);
    block.watch(0);
    for (int i = 0; i < 1000; ++i)
        block.addChange(0, 0.001F * static_cast<float>(i % 2 == 0 ? 100 : 200));
    client.process(0, 1, 256);
    waitUntil("the poll that takes the flag", [&] { return block.flags(0) == 1; });
    client.synchronise();
    const Bytes received = client.takeAsync();
    const Bytes last = bytes("00 00 00 00 01 01 00 00 00 00 00 00 00 00 00 00 05 'Delay' 00 00 00 03 '200'");
    // A poll in the middle of the block adds one.
    EXPECT_GE(received.size(), last.size());
    EXPECT_LE(received.size(), 2 * last.size());
    ASSERT_GE(received.size(), last.size());
    EXPECT_EQ(readable(Bytes(received.end() - static_cast<ptrdiff_t>(last.size()), received.end())),
              readable(last));
}

TEST(HostIdle, GoesOnWhileRequestsKeepTheMainThreadAwake) {
    RawClient client;
    createInstance(client, 1, TEST_PLUGIN_DIRECTORY "/counts-idle.so");
    const auto idleCalls = [&client] {
        client.send(updateIoFrame(1, 1));
        client.synchronise();
        const std::string state = readable(client.takeAsync());
        const std::string marker = readable(bytes("00 00 00 06"));
        const Bytes digits = bytes(state.substr(state.find(marker) + marker.size(), 18));
        return std::stoi(std::string(digits.begin(), digits.end()));
    };
    const int first = idleCalls();
    waitUntil("ten idle rounds", [&] { return idleCalls() >= first + 10; });
}

} // namespace
