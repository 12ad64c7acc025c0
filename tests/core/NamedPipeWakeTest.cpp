// The ends of a pipe that a client opens in the place of a host that never comes. If these fail, starting a
// program that is no host hangs for ever.

#include "NamedPipeTest.h"

#include "core/CloseQuietly.h"
#include "core/FileDescriptor.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <atomic>
#include <memory>
#include <poll.h>

using namespace base::core;
using core_tests::NamedPipeTest;

namespace {

using OpenEnds = std::vector<std::unique_ptr<FileDescriptor>>;

} // namespace

TEST_F(NamedPipeTest, TheOtherEndsWakeAnOpenThatIsBlocked) {
    const Ref<NamedServerPipe> server = NamedServerPipe::create("wake/main", true);
    std::atomic<pid_t> openerId = 0;
    std::thread opener([&] {
        openerId = test_support::currentThreadId();
        server->open();
    });
    EXPECT_TRUE(test_support::eventually([&] { return openerId != 0 && test_support::isAsleep(openerId); }));
    OpenEnds ends;
    server->openOtherEnds(ends);
    opener.join();
    EXPECT_EQ(ends.size(), 2u);
}

TEST_F(NamedPipeTest, TheOtherEndsLetALaterOpenReturnAtOnce) {
    const Ref<NamedServerPipe> server = NamedServerPipe::create("wake/async", false);
    OpenEnds ends;
    server->openOtherEnds(ends);
    server->open(); // doesn't block
    EXPECT_EQ(ends.size(), 1u);
}

TEST_F(NamedPipeTest, TheOtherEndsOfARemovedPipeAreLeftOut) {
    const Ref<NamedServerPipe> server = NamedServerPipe::create("wake/gone", true);
    std::filesystem::remove_all(directory);
    OpenEnds ends;
    server->openOtherEnds(ends);
    EXPECT_TRUE(ends.empty());
}

TEST_F(NamedPipeTest, ADuplicateOfTheInputPollsAsItDoes) {
    const Ends ends = connect("poll/main", true);
    const FileDescriptor duplicate(ends.creator->duplicateInputDescriptor());
    pollfd source{duplicate.get(), POLLIN, 0};
    EXPECT_EQ(poll(&source, 1, 0), 0);
    ends.opener->getOutput()->writeByte(7);
    ends.opener->getOutput()->flush();
    EXPECT_EQ(poll(&source, 1, 0), 1);
    EXPECT_EQ(ends.creator->getInput()->readByte(), 7);
    EXPECT_EQ(poll(&source, 1, 0), 0);
    closeQuietly(ends.opener->getOutput());
    EXPECT_EQ(poll(&source, 1, 0), 1);
    EXPECT_NE(source.revents & POLLHUP, 0);
}

TEST_F(NamedPipeTest, WithoutAnInputThereIsNoDuplicate) {
    const Ends ends = connect("poll/async", false);
    EXPECT_EQ(ends.opener->duplicateInputDescriptor(), -1);
}
