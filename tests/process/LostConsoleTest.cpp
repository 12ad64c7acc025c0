// If these fail, a full disk, a terminal that is gone or a log that nobody reads any more ends hosts in the
// middle of a song, or a host without a descriptor to spare stays behind for ever.

#include "process/ProcessTest.h"

#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Creates, plays, makes the host log lines, and ends it by request while all pipes stay open.
void playAndEnd(RawClient& client) {
    createInstance(client, 1, echoPath);
    client.process(1, 1, 256);
    const Bytes unknownInstance = bytes("01 2A 00 00 00");
    for (int round = 0; round < 3; ++round) {
        client.send(unknownInstance);
        client.synchronise();
    }
    client.process(1, 1, 256);
    client.closeWorker(0); // its worker logs that, and ends
    client.synchronise();
    client.waitUntilTaken();
    client.send(bytes("0C"));
    const int status = client.waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << client.standardError();
}

int openFull() {
    return open("/dev/full", O_WRONLY | O_CLOEXEC);
}

TEST(LostConsole, AHostWhoseErrorDeviceIsFullPlaysAndEndsInOrder) {
    const int full = openFull();
    RawClient client({.workers = 2, .standardError = full});
    close(full);
    playAndEnd(client);
}

TEST(LostConsole, AHostWhoseConsolesAreFullPlaysAndEndsInOrder) {
    const int full = openFull();
    RawClient client({.workers = 2, .standardOutput = full, .standardError = full});
    close(full);
    playAndEnd(client);
}

TEST(LostConsole, AHostWhoseLogPipeIsClosedPlaysAndEndsInOrder) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    RawClient client({.workers = 2, .standardOutput = ends[1], .standardError = ends[1]});
    close(ends[1]);
    playAndEnd(client);
}

TEST(LostConsole, AHostThatStartsWithoutConsolesPutsNoLineIntoAPipe) {
    RawClient client(
        {.workers = 2, .standardOutput = HostOptions::closed, .standardError = HostOptions::closed});
    const std::string descriptors = "/proc/" + std::to_string(client.getHostProcess()) + "/fd/";
    for (const char* console : {"1", "2"}) {
        char target[256] = {};
        EXPECT_GT(readlink((descriptors + console).c_str(), target, sizeof target - 1), 0);
        EXPECT_STREQ(target, "/dev/null");
    }
    playAndEnd(client);
}

// The sanitizer's check of dynamic types opens a pipe to look at an object, and takes a failure for a broken
// object.
#ifndef __SANITIZE_ADDRESS__

TEST(HostShutdownInAShortage, AHostWithoutAFreeDescriptorEndsThoughTheClientKeepsItsPipesOpen) {
    RawClient client({.workers = 2});
    createInstance(client, 1, echoPath);
    client.process(1, 1, 256);
    client.waitUntilWorkersRest();
    rlimit former{};
    ASSERT_EQ(prlimit(client.getHostProcess(), RLIMIT_NOFILE, nullptr, &former), 0);
    const rlimit none{3, former.rlim_max};
    ASSERT_EQ(prlimit(client.getHostProcess(), RLIMIT_NOFILE, &none, nullptr), 0);
    client.send(bytes("0C"));
    const int status = client.waitForEnd(4);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << client.standardError();
}

#endif

} // namespace
