// Shared memory: client and host find one block by a name that both compute, and nothing of it may stay
// behind.

#include "core/SharedMemory.h"

#include "FailingCalls.h"
#include "support/CapturedOutput.h"
#include "support/FailureText.h"
#include "support/ScopedEnvironment.h"

#include "core/Exception.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

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

/// An object under the name that another program has made.
class ForeignObject {
public:
    ForeignObject(off_t size, mode_t mode)
        : descriptor(shm_open(sharedMemoryName(logicalName).c_str(), O_CREAT | O_EXCL | O_RDWR, 0600)) {
        EXPECT_EQ(ftruncate(descriptor, size), 0);
        EXPECT_EQ(fchmod(descriptor, mode), 0);
    }
    ~ForeignObject() {
        close(descriptor);
        shm_unlink(sharedMemoryName(logicalName).c_str());
    }
    ForeignObject(const ForeignObject&) = delete;
    ForeignObject& operator=(const ForeignObject&) = delete;

    /// Makes it another user's. False, with a line, where the system refuses.
    bool becomesAnotherUsers() const {
        constexpr uid_t nobody = 65534;
        const bool changed = fchown(descriptor, nobody, nobody) == 0;
        if (!changed)
            std::printf("not run: not root here, so there is no second user\n");
        return changed;
    }

    const int descriptor;
};

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
    const ForeignObject empty(0, 0600);
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::open(logicalName, 0); }),
              described("map", "0", "Invalid argument"));
    EXPECT_TRUE(existsInTheSystem(sharedMemoryName(logicalName)));
}

TEST(SharedMemoryTest, WithoutMemoryForTheDigestTheNameIsTheSlashAlone) {
    const CapturedOutput captured(STDOUT_FILENO);
    const FailingAllocation failing(25);
    EXPECT_EQ(sharedMemoryName(logicalName), "/");
}

TEST(SharedMemoryTest, AnObjectOfAnotherSizeIsNotOpened) {
    const ForeignObject object(4096, 0600);
    for (const int32_t size : {4095, 4097, 8192})
        EXPECT_EQ(failureText<IOException>([&] { SharedMemory::open(logicalName, size); }),
                  described("open", std::to_string(size), "wrong size"));
    EXPECT_NO_THROW(SharedMemory::open(logicalName, 4096));
}

TEST(SharedMemoryTest, AnObjectThatOthersMayUseIsNotOpened) {
    for (const mode_t mode : {0660, 0606, 0604, 0700, 0400, 04600}) {
        const ForeignObject object(4096, mode);
        EXPECT_EQ(
            failureText<IOException>([] { SharedMemory::open(logicalName, 4096); }),
            described("open", "4096", mode == 0400 && geteuid() != 0 ? "Permission denied" : "wrong mode"));
    }
}

TEST(SharedMemoryTest, AnObjectOfAnotherUserIsNotOpened) {
    const ForeignObject object(4096, 0600);
    if (object.becomesAnotherUsers()) {
        EXPECT_EQ(failureText<IOException>([] { SharedMemory::open(logicalName, 4096); }),
                  described("open", "4096", "wrong owner"));
    }
}

TEST(SharedMemoryTest, AnObjectOfAnotherUserIsNotOpenedByAUserWithoutPrivileges) {
    if (geteuid() != 0) {
        std::printf("not run: not root here, so there is no second user\n");
        return;
    }
    // Root's, and open to all.
    const ForeignObject object(4096, 0666);
    EXPECT_EXIT(
        {
            const bool changed = setresuid(65534, 65534, 65534) == 0;
            const std::string text = failureText<IOException>([] { SharedMemory::open(logicalName, 4096); });
            std::fputs(text.c_str(), stderr);
            _exit(changed && text == described("open", "4096", "wrong owner") ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(SharedMemoryTest, AnObjectThatSomebodyElseMadeInTheMiddleOfACreateIsRefused) {
    {
        const ForeignObject object(1, 0600);
        const ReplacedSharedMemory replaced(object.descriptor);
        EXPECT_EQ(failureText<IOException>([] { SharedMemory::create(logicalName, 4096); }),
                  described("create", "4096", "wrong size"));
    }
    const ForeignObject object(0, 0600);
    if (object.becomesAnotherUsers()) {
        const ReplacedSharedMemory replaced(object.descriptor);
        EXPECT_EQ(failureText<IOException>([] { SharedMemory::create(logicalName, 4096); }),
                  described("create", "4096", "wrong owner"));
    }
}

TEST(SharedMemoryTest, AUmaskThatTakesTheOwnersRightsAwayTakesNoneOfABlock) {
    const mode_t former = umask(0777);
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 4096);
    umask(former);
    EXPECT_NO_THROW(SharedMemory::open(logicalName, 4096));
}

TEST(SharedMemoryTest, ABlockHasItsSpaceBeforeAnybodyWrites) {
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 100000);
    struct stat status {};
    ASSERT_EQ(stat(("/dev/shm" + sharedMemoryName(logicalName)).c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, 100000);
}

TEST(SharedMemoryTest, AFullSystemIsAFailureAndLeavesNothingBehind) {
    const FailingCall failing(LibraryCall::fallocate);
    EXPECT_EQ(failureText<IOException>([] { SharedMemory::create(logicalName, 4096); }),
              described("ftruncate", "4096", "No space left on device"));
    EXPECT_FALSE(existsInTheSystem(sharedMemoryName(logicalName)));
}

TEST(SharedMemoryTest, ASignalInTheMiddleOfACreateHasNoEffect) {
    const FailingCall failing(LibraryCall::fallocateOnce);
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 100000);
    struct stat status {};
    ASSERT_EQ(stat(("/dev/shm" + sharedMemoryName(logicalName)).c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, 100000);
}

TEST(SharedMemoryTest, AForkedProcessThatDestroysItsCopyLeavesTheBlockInTheSystem) {
    Ref<SharedMemory> memory = SharedMemory::create(logicalName, 4096);
    const pid_t forked = fork();
    if (forked == 0) {
        memory = nullptr;
        _exit(0);
    }
    EXPECT_EQ(waitpid(forked, nullptr, 0), forked);
    EXPECT_TRUE(existsInTheSystem(sharedMemoryName(logicalName)));
}

TEST(SharedMemoryTest, NoBlockTakesANumberOfTheConsole) {
    const pid_t forked = fork();
    if (forked == 0) {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(descriptor);
        const Ref<SharedMemory> created = SharedMemory::create(logicalName, 4096);
        const Ref<SharedMemory> opened = SharedMemory::open(logicalName, 4096);
        bool isFree = true;
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            isFree = isFree && fcntl(descriptor, F_GETFD) < 0;
        static_cast<char*>(created->getData())[0] = 5;
        _exit(isFree && static_cast<char*>(opened->getData())[0] == 5 ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(forked, &status, 0), forked);
    EXPECT_EQ(status, 0);
    SharedMemory::remove(logicalName);
}

TEST(SharedMemoryTest, ABlockOfAnotherUserIsRemovedUnderThatName) {
    const std::string user = "plugin-host-memory-test-" + std::to_string(getpid());
    const std::string others = sharedMemoryName(user.c_str(), logicalName);
    const Ref<SharedMemory> own = SharedMemory::create(logicalName, 16);
    const ScopedEnvironment asTheOther("USER", user.c_str());
    EXPECT_EQ(sharedMemoryName(logicalName), others);
    const Ref<SharedMemory> memory = SharedMemory::create(logicalName, 16);
    const ScopedEnvironment unset("USER", nullptr);
    EXPECT_TRUE(existsInTheSystem(others));
    SharedMemory::remove(user.c_str(), logicalName);
    EXPECT_FALSE(existsInTheSystem(others));
}

} // namespace

TEST(SharedMemoryTest, NeitherSideFaultsOnAPageThatItTouchesFirst) {
    const auto pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    constexpr size_t pages = 256;
    if (madvise(nullptr, 0, MADV_POPULATE_WRITE) != 0)
        GTEST_SKIP() << "the kernel is older than 5.14";
    const int zeros = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(zeros, 0);
    const auto countFaults = [&](const Ref<SharedMemory>& memory) {
        rusage before{};
        rusage after{};
        getrusage(RUSAGE_SELF, &before);
        // By the kernel: a sanitizer has faults of its own where the program writes.
        for (size_t page = 0; page < pages; ++page)
            EXPECT_EQ(syscall(SYS_read, zeros, dataOf(memory) + page * pageSize, 1), 1);
        getrusage(RUSAGE_SELF, &after);
        return after.ru_minflt - before.ru_minflt;
    };
    const auto size = static_cast<int32_t>(pages * pageSize);
    const Ref<SharedMemory> created = SharedMemory::create(logicalName, size);
    const Ref<SharedMemory> opened = SharedMemory::open(logicalName, size);
    EXPECT_LT(countFaults(opened), long{pages / 2});
    EXPECT_LT(countFaults(created), long{pages / 2});
    close(zeros);
}
