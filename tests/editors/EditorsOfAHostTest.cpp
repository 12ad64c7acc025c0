// The editors of a host process over a long session. If these fail, a host slowly fills up with windows,
// descriptors or memory, a client waits for closings that were never told, or the music stops with the
// screen.

#include "process/ProcessTest.h"
#include "support/OwnXServer.h"
#include "support/WindowReader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

using namespace test_support;
using testing::AllOf;
using testing::Each;
using testing::Pair;
using testing::SizeIs;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

constexpr int32_t instances = 32;
constexpr int rounds = isSanitized ? 3 : 20;
// Bytes of all later rounds. A sanitizer keeps what is freed for a while.
constexpr size_t mostGrowth = (isSanitized ? 256 : 1) * 1024 * 1024;
constexpr uint8_t closedType = 4;
constexpr uint8_t movedType = 5;

Bytes openFrame(int32_t instanceId) {
    return bytes("02") + little(instanceId) + bytes("00 00 00 00 00 00 00 00 00") + text("Editor");
}

Bytes closeFrame(int32_t instanceId) {
    return bytes("03") + little(instanceId);
}

const Bytes showFrame = bytes("08");
const Bytes hideFrame = bytes("09");

class EditorsOfAHostTest : public testing::Test {
protected:
    EditorsOfAHostTest() { EXPECT_TRUE(server.isUp) << "no X server within 10 s"; }

    /// Both formats, by turns; the first is of VST 2.
    void create(int32_t instanceId) {
        createInstance(client, instanceId,
                       instanceId % 2 != 0 ? TEST_PLUGIN_DIRECTORY "/plain-editor.so"
                                           : TEST_PLUGIN_DIRECTORY "/plain-view.vst3");
    }

    void sendToAll(Bytes (*frame)(int32_t instanceId)) {
        for (int32_t id = 1; id <= instances; ++id)
            client.send(frame(id));
        client.synchronise();
    }

    /// How often each instance's window has been told of, by the notification's type.
    std::map<int32_t, int> takeNotifications(uint8_t type) {
        const Bytes fresh = client.takeAsync();
        heard.insert(heard.end(), fresh.begin(), fresh.end());
        std::map<int32_t, int> counts;
        constexpr size_t shortest = 9;
        for (size_t at = 0; at + shortest <= heard.size(); at += shortest) {
            const uint8_t frameType = heard[at + 4];
            if (frameType == type)
                ++counts[heard[at + 5]]; // of the id, which is small
            if (frameType == movedType)
                at += 4 * sizeof(int32_t);
            else
                EXPECT_EQ(frameType, closedType);
        }
        return counts;
    }

    size_t countDescriptors() const {
        const std::filesystem::directory_iterator all(processPath("fd"));
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

    size_t residentBytes() const {
        std::ifstream file(processPath("statm"));
        size_t total = 0;
        size_t resident = 0;
        file >> total >> resident;
        return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
    }

    OwnXServer server{{"1280x800x24"}};
    RawClient client;
    Bytes heard;

private:
    std::string processPath(const std::string& entry) const {
        return "/proc/" + std::to_string(client.getHostProcess()) + "/" + entry;
    }
};

} // namespace

TEST_F(EditorsOfAHostTest, LeaveNothingBehindHoweverOftenTheyOpenMoveHideShowAndClose) {
    WindowReader reader;
    for (int32_t id = 1; id <= instances; ++id)
        create(id);
    const std::vector<uint32_t> others = reader.children(reader.root);
    const size_t descriptors = countDescriptors();
    size_t resident = 0;
    for (int round = 0; round < rounds; ++round) {
        heard.clear();
        sendToAll(openFrame);
        std::vector<uint32_t> editors = reader.children(reader.root);
        std::erase_if(editors, [&](uint32_t window) { return std::ranges::count(others, window) > 0; });
        ASSERT_THAT(editors, SizeIs(instances));
        // A window is taken to stand still until its opening has settled.
        uint32_t place = 10;
        waitUntil("the moves", [&] {
            ++place;
            for (const uint32_t window : editors)
                reader.moveWindow(window, place, place);
            return takeNotifications(movedType).size() == instances;
        });
        client.send(hideFrame);
        const auto isMapped = [&](uint32_t window) { return reader.isMapped(window); };
        ASSERT_TRUE(eventually([&] { return std::ranges::none_of(editors, isMapped); }));
        client.send(showFrame);
        ASSERT_TRUE(eventually([&] { return std::ranges::all_of(editors, isMapped); }));
        sendToAll(closeFrame);
        const std::map<int32_t, int> closings = takeNotifications(closedType);
        ASSERT_THAT(closings, AllOf(SizeIs(instances), Each(Pair(testing::_, 1)))) << "in round " << round;
        ASSERT_TRUE(eventually([&] { return reader.children(reader.root) == others; })) << "windows are left";
        if (round == 1)
            resident = residentBytes();
    }
    EXPECT_TRUE(eventually([&] { return countDescriptors() == descriptors; }))
        << countDescriptors() << " descriptors, " << descriptors << " before";
    EXPECT_LT(residentBytes(), resident + mostGrowth) << resident << " bytes after the second round";
    for (int32_t id = 1; id <= instances; ++id)
        client.send(destroyFrame(id));
    client.synchronise();
}

TEST_F(EditorsOfAHostTest, EndWithAHostThatDestroysItsInstances) {
    WindowReader reader;
    const std::vector<uint32_t> others = reader.children(reader.root);
    create(1);
    client.send(openFrame(1));
    client.synchronise();
    EXPECT_THAT(reader.children(reader.root), SizeIs(others.size() + 1));
    client.send(destroyFrame(1));
    client.synchronise();
    EXPECT_TRUE(eventually([&] { return reader.children(reader.root) == others; })) << "a window is left";
    EXPECT_THAT(takeNotifications(closedType), testing::ElementsAre(Pair(1, 1)));
}

TEST_F(EditorsOfAHostTest, TakeNoMusicWithThemWhenTheServerGoesAway) {
    create(1);
    createInstance(client, 2, echoPath);
    client.sendToWorker(0, bytes("00") + little(1));
    client.send(openFrame(1));
    client.send(openFrame(2));
    client.synchronise();
    EXPECT_EQ(client.process(0, 1, 256), 1);
    server.end();
    client.waitForError("xcb connection broken\n");
    EXPECT_EQ(client.process(0, 1, 256), 1);
    // Closing what can't be seen is told all the same, and what can't be shown is closed at once.
    client.send(closeFrame(1));
    client.send(closeFrame(2));
    client.synchronise();
    EXPECT_THAT(takeNotifications(closedType), testing::ElementsAre(Pair(1, 1), Pair(2, 1)));
    client.send(openFrame(1));
    client.synchronise();
    EXPECT_THAT(takeNotifications(closedType), testing::ElementsAre(Pair(1, 2), Pair(2, 1)));
    client.process(0, 1, 256);
    client.sendToWorker(0, bytes("01") + little(1));
    client.process(0, 1, 256);
    for (const int32_t id : {1, 2})
        client.send(destroyFrame(id));
    client.synchronise();
}
