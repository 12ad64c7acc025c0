// Shared memory: client and host find one block by a name that both compute, and nothing of it may stay
// behind.

#include "core/SharedMemory.h"

#include "CapturedOutput.h"
#include "FailingCalls.h"
#include "FailureText.h"
#include "ScopedEnvironment.h"

#include "core/Exception.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace base::core;

namespace {

constexpr char logicalName[] = "block";

char* dataOf(const Ref<SharedMemory>& memory) {
    return static_cast<char*>(memory->getData());
}

/// The end of a message: `name`, the size, a line feed and the system's words.
std::string described(const char* operation, const std::string& size, const std::string& reason) {
    return std::string("Could not ") + operation + " shared memory with name \"" +
           sharedMemoryName(logicalName) + "\" and size of " + size + "\n" + reason;
}

bool existsInTheSystem(const std::string& name) {
    const int descriptor = shm_open(name.c_str(), O_RDONLY, 0);
    if (descriptor >= 0)
        close(descriptor);
    return descriptor >= 0;
}

TEST(SharedMemoryTest, TheNameIsTheEncodedDigestOfUserAndLogicalName) {
    const ScopedEnvironment alice("USER", "alice");
    EXPECT_EQ(sharedMemoryName("1"), "/uy6NHYeBiQA9TZmiVxu2zg==");
    EXPECT_EQ(sharedMemoryName(""), "/u3TKA1vZYUCNR0oLI0biRQ==");
    // A slash of the published alphabet is a dash here.
    EXPECT_EQ(sharedMemoryName("2"), "/CCHSUsi5lN-ZTKQ3CQZSig==");
    // A slash of the logical name doesn't come through.
    EXPECT_EQ(sharedMemoryName("engine/1/2"), "/TcKn+hVKQ27LGB7Wb7dYLg==");
}

TEST(SharedMemoryTest, TwoUsersGetDifferentNamesForOneLogicalName) {
    const ScopedEnvironment bob("USER", "bob");
    EXPECT_EQ(sharedMemoryName("1"), "/WLvEdjMaG6uMWoghGnFr0A==");
    EXPECT_EQ(sharedMemoryName("engine/1/2"), "/qbrtXPS3to0Zci-6ttEGLA==");
}

TEST(SharedMemoryTest, WithoutAUserTheNameIsMadeOfTheEmptyText) {
    const ScopedEnvironment unset("USER", nullptr);
    EXPECT_EQ(sharedMemoryName("x"), "/0lwYbj8wlqn-SpGPezFB1A==");
}

TEST(SharedMemoryTest, ASecondCreateReplacesTheObjectAndLeavesTheFirstMappingValid) {
    const Ref<SharedMemory> first = SharedMemory::create(logicalName, 4096);
    std::strcpy(dataOf(first), "first");
    const Ref<SharedMemory> second = SharedMemory::create(logicalName, 4096);
    std::strcpy(dataOf(second), "second");
    EXPECT_STREQ(dataOf(first), "first");
    const Ref<SharedMemory> opened = SharedMemory::open(logicalName, 4096);
    EXPECT_STREQ(dataOf(opened), "second");
}

TEST(SharedMemoryTest, OpeningANameThatDoesNotExistIsAFailureThatNamesIt) {
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::open(logicalName, 1234); }),
              described("open", "1234", "No such file or directory"));
}

TEST(SharedMemoryTest, AfterTheOwnerIsGoneNobodyCanOpenTheBlock) {
    Ref<SharedMemory> owner = SharedMemory::create(logicalName, 4096);
    Ref<SharedMemory> other = SharedMemory::open(logicalName, 4096);
    owner = nullptr;
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::open(logicalName, 4096); }),
              described("open", "4096", "No such file or directory"));
    // Who had it mapped keeps it.
    std::strcpy(dataOf(other), "still here");
    EXPECT_STREQ(dataOf(other), "still here");
}

TEST(SharedMemoryTest, WhoOpenedABlockDoesNotRemoveIt) {
    const Ref<SharedMemory> owner = SharedMemory::create(logicalName, 4096);
    { const Ref<SharedMemory> other = SharedMemory::open(logicalName, 4096); }
    EXPECT_TRUE(existsInTheSystem(sharedMemoryName(logicalName)));
}

TEST(SharedMemoryTest, BothSidesSeeOneBlockOfZerosAtFirst) {
    const Ref<SharedMemory> owner = SharedMemory::create(logicalName, 10000);
    EXPECT_EQ(owner->getSize(), 10000);
    for (int32_t i = 0; i < owner->getSize(); ++i)
        ASSERT_EQ(dataOf(owner)[i], 0) << "at " << i;
    const Ref<SharedMemory> other = SharedMemory::open(logicalName, 10000);
    EXPECT_EQ(other->getSize(), 10000);
    EXPECT_NE(other->getData(), owner->getData());
    dataOf(owner)[9999] = 'o';
    dataOf(other)[0] = 'c';
    EXPECT_EQ(dataOf(other)[9999], 'o');
    EXPECT_EQ(dataOf(owner)[0], 'c');
}

TEST(SharedMemoryTest, AStaleObjectOfADeadProcessIsNeverReused) {
    const std::string name = sharedMemoryName(logicalName);
    const int stale = shm_open(name.c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_GE(stale, 0);
    ASSERT_EQ(write(stale, "stale", 5), 5);
    close(stale);
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 16);
    EXPECT_EQ(dataOf(memory)[0], 0);
}

TEST(SharedMemoryTest, ABlockIsForTheUserAlone) {
    const mode_t former = umask(0);
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 123);
    umask(former);
    const int descriptor = shm_open(sharedMemoryName(logicalName).c_str(), O_RDONLY, 0);
    ASSERT_GE(descriptor, 0);
    struct stat status {};
    fstat(descriptor, &status);
    close(descriptor);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(status.st_size, 123);
}

TEST(SharedMemoryTest, ABlockThatCannotBeCreatedIsAFailureThatNamesIt) {
    // A folder in the object's place.
    const std::string folder = "/dev/shm" + sharedMemoryName(logicalName);
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    const std::string text = failureText<IOException>([] { SharedMemory::create(logicalName, 64); });
    ASSERT_EQ(rmdir(folder.c_str()), 0);
    EXPECT_EQ(text, described("create", "64", "Invalid argument"));
}

TEST(SharedMemoryTest, ABlockThatCannotGetItsSizeIsAFailureAndLeavesNothingBehind) {
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::create(logicalName, -1); }),
              described("ftruncate", "-1", "Invalid argument"));
    EXPECT_FALSE(existsInTheSystem(sharedMemoryName(logicalName)));
}

TEST(SharedMemoryTest, ABlockThatCannotBeMappedIsAFailureOnBothSides) {
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::create(logicalName, 0); }),
              described("map", "0", "Invalid argument"));
    EXPECT_FALSE(existsInTheSystem(sharedMemoryName(logicalName)));
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 16);
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::open(logicalName, 0); }),
              described("map", "0", "Invalid argument"));
    EXPECT_TRUE(existsInTheSystem(sharedMemoryName(logicalName)));
}

TEST(SharedMemoryTest, WithoutMemoryForTheDigestTheNameIsTheSlashAlone) {
    const CapturedOutput captured(STDOUT_FILENO);
    const FailingAllocation failing(25);
    EXPECT_EQ(sharedMemoryName(logicalName), "/");
}

} // namespace
