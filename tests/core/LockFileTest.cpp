// Files that one holder at most has locked. If these fail, two processes take themselves for the only one, or
// a killed one's file keeps others out for ever.

#include "core/LockFile.h"

#include "core/Exception.h"
#include "core/TrustedDirectory.h"
#include "support/FailureText.h"
#include "support/TestDirectory.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using namespace base::core;
using namespace test_support;

namespace {

namespace fs = std::filesystem;

class LockFileTest : public testing::Test {
protected:
    std::string text() const {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const TestDirectory place;
    const TrustedDirectory directory{place.path};
    const std::string path = place / "lock";
};

TEST_F(LockFileTest, IsMadeWhereItIsMissingAndStaysWhenItsHolderIsGone) {
    EXPECT_EQ(LockFile::tryLock(directory, path), nullptr);
    EXPECT_FALSE(fs::exists(path));
    {
        const auto lock = LockFile::tryCreate(directory, path);
        ASSERT_NE(lock, nullptr);
        EXPECT_TRUE(lock->isNew());
    }
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
    const auto lock = LockFile::tryCreate(directory, path);
    ASSERT_NE(lock, nullptr);
    EXPECT_FALSE(lock->isNew());
}

TEST_F(LockFileTest, HasOneHolder) {
    auto lock = LockFile::tryCreate(directory, path);
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr);
    EXPECT_EQ(LockFile::tryLock(directory, path), nullptr);
    lock = nullptr;
    EXPECT_NE(LockFile::tryLock(directory, path), nullptr);
}

TEST_F(LockFileTest, HoldsAText) {
    const auto lock = LockFile::tryCreate(directory, path);
    EXPECT_EQ(lock->read(8), "");
    lock->write("one");
    EXPECT_EQ(text(), "one");
    lock->write("three");
    EXPECT_EQ(lock->read(8), "three");
    EXPECT_EQ(lock->read(2), "th");
    lock->clear();
    EXPECT_EQ(text(), "");
}

TEST_F(LockFileTest, OfWhichTheNameWasRemovedIsNoneForTheNextOne) {
    const auto lock = LockFile::tryCreate(directory, path);
    lock->remove();
    EXPECT_FALSE(fs::exists(path));
    const auto next = LockFile::tryCreate(directory, path);
    ASSERT_NE(next, nullptr);
    lock->remove();
    EXPECT_TRUE(fs::exists(path)) << "it is another one's";
}

TEST_F(LockFileTest, ThatCannotBeMadeIsAFailure) {
    const TrustedDirectory missing(place / "missing");
    EXPECT_EQ(failureText<IOException>([&] { LockFile::tryLock(missing, path); }),
              "Could not lock \"" + path + "\": Bad file descriptor");
    const TestDirectory other;
    const TrustedDirectory removed(other.path);
    fs::remove(other.path);
    EXPECT_EQ(failureText<IOException>([&] { LockFile::tryCreate(removed, other / "lock"); }),
              "Could not lock \"" + other.path + "/lock\": No such file or directory");
}

TEST_F(LockFileTest, IsNoneIfAnotherThingIsThere) {
    fs::create_symlink(place / "target", path);
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr);
    EXPECT_FALSE(fs::exists(place / "target"));
    fs::remove(path);
    fs::create_directory(path);
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr);
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr);
}

} // namespace
