// If these fail, each scan loads every plug-in again, shows what a file held before it was changed, or
// believes a damaged file.

#include "client/ReportCache.h"

#include "ReportTest.h"

#include <atomic>
#include <fcntl.h>
#include <thread>

using namespace test_support;

namespace {

constexpr double limit = 10;

class ReportCacheTest : public testing::Test {
protected:
    void SetUp() override {
        writeText(library(), "a library");
        writeText(program(), "a program");
    }

    std::string library() const { return directory / "plugin.so"; }
    std::string program() const { return directory / "program"; }
    std::string place() const { return directory / "kept/reports"; }

    ReportRequest request() const {
        return {.program = program(), .plugin = library(), .timeLimit = limit, .variables = {}};
    }
    ReportKey key() const { return ReportKey::of(request(), library()).value(); }

    static ReportOutcome outcome() {
        ReportOutcome full = outcomeOf(ReportResult::failed, "a reason: \xc3\xa9, 5:x");
        PluginDescription plugin = echoDescription();
        plugin.deviceTypes = {3, 1};
        plugin.hasNoteInput = true;
        plugin.audioInBusCount = 2147483647;
        full.plugins = {plugin, PluginDescription()};
        full.plugins[1].failure = "cut";
        full.output = "line\nline\n";
        return full;
    }

    /// What a new process finds.
    std::optional<ReportOutcome> findAnew() const { return ReportCache(place()).find(key(), limit); }

    /// The only file of the directory.
    std::string keptFile() const {
        const std::vector<std::string> names = namesIn(place());
        EXPECT_EQ(names.size(), 1u);
        return names.empty() ? "" : place() + "/" + names[0];
    }

    static void setTime(const std::string& path, long nanoseconds) {
        const timespec times[] = {{0, UTIME_OMIT}, {1'000'000'000, nanoseconds}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    const TestDirectory directory;
};

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

} // namespace

TEST_F(ReportCacheTest, AnOutcomeIsFoundAgainInMemory) {
    ReportCache cache;
    EXPECT_EQ(cache.find(key(), limit), std::nullopt);
    EXPECT_TRUE(cache.store(key(), limit, outcome()));
    EXPECT_EQ(cache.find(key(), limit), outcome());
}

TEST_F(ReportCacheTest, AnOutcomeIsFoundAgainByAnotherProcess) {
    EXPECT_TRUE(ReportCache(place()).store(key(), limit, outcome()));
    EXPECT_EQ(findAnew(), outcome());
}

TEST_F(ReportCacheTest, DirectoryAndFilesAreForThisUserAlone) {
    const mode_t former = umask(0277);
    EXPECT_TRUE(ReportCache(place()).store(key(), limit, outcome()));
    umask(former);
    EXPECT_EQ(modeOf(place()), 0700u);
    EXPECT_EQ(modeOf(keptFile()), 0600u);
    EXPECT_EQ(findAnew(), outcome());
}

TEST_F(ReportCacheTest, ADirectoryThatCannotBeMadeIsAFailure) {
    EXPECT_THROW(ReportCache(library() + "/inside"), IOException);
    EXPECT_THROW(ReportCache{library()}, IOException);
}

TEST_F(ReportCacheTest, AFailureIsKeptAsWell) {
    ReportCache cache(place());
    for (const ReportResult result : {ReportResult::complete, ReportResult::recordCutShort,
                                      ReportResult::failed, ReportResult::crashed, ReportResult::timedOut}) {
        cache.store(key(), limit, outcomeOf(result, "why"));
        EXPECT_EQ(findAnew(), outcomeOf(result, "why"));
    }
}

TEST_F(ReportCacheTest, WhatMayPassIsNotKept) {
    ReportCache cache(place());
    for (const ReportResult result :
         {ReportResult::notStarted, ReportResult::noDisplay, ReportResult::noProgram,
          ReportResult::unreadable, ReportResult::cancelled}) {
        cache.store(key(), limit, outcomeOf(result));
        EXPECT_EQ(cache.find(key(), limit), std::nullopt);
    }
    EXPECT_TRUE(namesIn(place()).empty());
}

TEST_F(ReportCacheTest, ALongerTimeLimitIsTriedAgain) {
    ReportCache cache(place());
    cache.store(key(), 2.5, outcomeOf(ReportResult::timedOut));
    EXPECT_TRUE(cache.find(key(), 2.5));
    EXPECT_TRUE(cache.find(key(), 1));
    EXPECT_FALSE(cache.find(key(), 2.6));
    EXPECT_TRUE(ReportCache(place()).find(key(), 2.5));
    EXPECT_FALSE(ReportCache(place()).find(key(), 2.6));
    cache.store(key(), 2.5, outcomeOf(ReportResult::crashed));
    EXPECT_TRUE(cache.find(key(), 100));
}

TEST_F(ReportCacheTest, AFileThatHasChangedIsNotFound) {
    for (const std::string& path : {library(), program()}) {
        setTime(path, 1);
        ReportCache cache(place());
        cache.store(key(), limit, outcome());
        EXPECT_TRUE(cache.find(key(), limit));
        setTime(path, 2);
        EXPECT_FALSE(cache.find(key(), limit)) << path << " has another time";
        EXPECT_FALSE(findAnew());
        cache.store(key(), limit, outcome());
        writeText(path, "another size of " + path);
        setTime(path, 2);
        EXPECT_FALSE(cache.find(key(), limit)) << path << " has another size";
        EXPECT_FALSE(findAnew());
    }
}

TEST_F(ReportCacheTest, AChangedFileTakesThePlaceOfItsFormerState) {
    ReportCache cache(place());
    cache.store(key(), limit, outcome());
    setTime(library(), 7);
    cache.store(key(), limit, outcomeOf(ReportResult::complete));
    EXPECT_EQ(namesIn(place()).size(), 1u);
    EXPECT_EQ(findAnew(), outcomeOf(ReportResult::complete));
}

TEST_F(ReportCacheTest, ANewerEntryOfAnotherProcessIsFound) {
    ReportCache cache(place());
    cache.store(key(), limit, outcome());
    setTime(library(), 7);
    ReportCache(place()).store(key(), limit, outcomeOf(ReportResult::complete));
    EXPECT_EQ(cache.find(key(), limit), outcomeOf(ReportResult::complete));
}

TEST_F(ReportCacheTest, AnotherRequestHasAnotherEntry) {
    ReportCache cache(place());
    cache.store(key(), limit, outcome());
    ReportRequest other = request();
    other.variables = {{"A", "b"}};
    EXPECT_FALSE(cache.find(ReportKey::of(other, library()).value(), limit));
    other = request();
    other.plugin = directory.path;
    EXPECT_FALSE(cache.find(ReportKey::of(other, library()).value(), limit));
    other = request();
    other.program = library();
    EXPECT_FALSE(cache.find(ReportKey::of(other, library()).value(), limit));
}

TEST_F(ReportCacheTest, WithoutTheFileThereIsNoKey) {
    EXPECT_FALSE(ReportKey::of(request(), directory / "none"));
    ReportRequest other = request();
    other.program = "plugin-host";
    EXPECT_FALSE(ReportKey::of(other, library()));
}

TEST_F(ReportCacheTest, ADamagedFileCountsAsMissing) {
    ReportCache(place()).store(key(), limit, outcome());
    const std::string path = keptFile();
    const std::string whole = readText(path);
    for (size_t size = 0; size < whole.size(); ++size) {
        writeText(path, whole.substr(0, size));
        ASSERT_FALSE(findAnew()) << "cut at " << size;
    }
    for (size_t place = 0; place < whole.size(); ++place) {
        std::string changed = whole;
        changed[place] = static_cast<char>(changed[place] ^ 1);
        writeText(path, changed);
        ASSERT_FALSE(findAnew()) << "changed at " << place;
    }
    writeText(path, whole + "x");
    EXPECT_FALSE(findAnew());
    writeText(path, whole);
    EXPECT_EQ(findAnew(), outcome());
}

TEST_F(ReportCacheTest, AForeignFileCountsAsMissing) {
    ReportCache(place()).store(key(), limit, outcome());
    const std::string path = keptFile();
    const std::string moved = directory / "moved";
    std::filesystem::rename(path, moved);
    ASSERT_EQ(symlink(moved.c_str(), path.c_str()), 0);
    EXPECT_FALSE(findAnew()) << "a link was followed";
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(findAnew());
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_FALSE(findAnew());
    EXPECT_FALSE(ReportCache(place()).store(key(), limit, outcome()));
    std::filesystem::remove(path);
    // The entry of another plug-in under this one's name.
    writeText(directory / "other.so", "a library");
    ReportRequest other = request();
    other.plugin = directory / "other.so";
    ReportCache(place()).store(ReportKey::of(other, other.plugin).value(), limit, outcome());
    std::filesystem::rename(keptFile(), path);
    EXPECT_FALSE(findAnew());
}

TEST_F(ReportCacheTest, WithoutItsDirectoryAnOutcomeIsKeptInMemory) {
    ReportCache cache(place());
    std::filesystem::remove(place());
    EXPECT_FALSE(cache.store(key(), limit, outcome()));
    EXPECT_EQ(cache.find(key(), limit), outcome());
    EXPECT_EQ(cache.dropGone(), 0u);
}

TEST_F(ReportCacheTest, EntriesOfFilesThatAreGoneAreDropped) {
    ReportCache cache(place());
    cache.store(key(), limit, outcome());
    const std::string gone = directory / "gone.so";
    writeText(gone, "a library");
    ReportRequest other = request();
    other.plugin = gone;
    const ReportKey goneKey = ReportKey::of(other, gone).value();
    cache.store(goneKey, limit, outcome());
    const std::string foreign = place() + "/notes.txt";
    writeText(foreign, "of the user");
    EXPECT_EQ(cache.dropGone(), 0u);
    std::filesystem::remove(gone);
    EXPECT_EQ(cache.dropGone(), 1u);
    EXPECT_FALSE(cache.find(goneKey, limit));
    EXPECT_TRUE(cache.find(key(), limit));
    EXPECT_EQ(findAnew(), outcome());
    EXPECT_TRUE(std::filesystem::exists(foreign));
}

TEST_F(ReportCacheTest, EntriesInMemoryAreDroppedToo) {
    ReportCache cache;
    const ReportKey former = key();
    cache.store(former, limit, outcome());
    EXPECT_EQ(cache.dropGone(), 0u);
    std::filesystem::remove(program());
    EXPECT_EQ(cache.dropGone(), 1u);
    EXPECT_FALSE(cache.find(former, limit));
}

TEST_F(ReportCacheTest, DamagedFilesAndWhatKilledProcessesLeftAreDropped) {
    ReportCache cache(place());
    cache.store(key(), limit, outcome());
    const std::string path = keptFile();
    const std::string left = path + ".abcdef";
    const std::string beingWritten = path + ".ghijkl";
    writeText(left, "half");
    setTime(left, 0);
    writeText(beingWritten, "half");
    writeText(path, "damaged");
    EXPECT_EQ(cache.dropGone(), 1u);
    EXPECT_EQ(keptFile(), beingWritten);
}

TEST_F(ReportCacheTest, AnEntryUnderAnotherNameIsDropped) {
    ReportCache cache(place());
    cache.store(key(), limit, outcome());
    const std::string path = keptFile();
    const std::string renamed = place() + "/" + std::string(32, 'a') + ".report";
    std::filesystem::rename(path, renamed);
    EXPECT_EQ(cache.dropGone(), 1u);
    EXPECT_TRUE(namesIn(place()).empty());
}

TEST_F(ReportCacheTest, SeveralThreadsAndProcessesShareTheDirectory) {
    constexpr int threads = 4;
    constexpr int rounds = 150;
    constexpr size_t files = 3;
    std::vector<ReportKey> keys;
    for (size_t file = 0; file < files; ++file) {
        ReportRequest each = request();
        each.plugin += std::to_string(file);
        keys.push_back(ReportKey::of(each, library()).value());
    }
    ReportCache shared(place());
    std::atomic<int> found = 0;
    std::atomic<int> wrong = 0;
    const auto use = [&](int thread) {
        // Half of them as if in another process.
        ReportCache own(place());
        ReportCache& cache = thread % 2 == 0 ? shared : own;
        for (int round = 0; round < rounds; ++round) {
            const size_t file = static_cast<size_t>(round + thread) % files;
            ReportOutcome kept = outcome();
            kept.reason = keys[file].plugin;
            if (!cache.store(keys[file], limit, kept))
                ++wrong;
            const auto other = ReportCache(place()).find(keys[(file + 1) % files], limit);
            if (other)
                ++(other->reason == keys[(file + 1) % files].plugin ? found : wrong);
            if (round % 50 == 0)
                cache.dropGone();
        }
    };
    std::vector<std::thread> users;
    for (int thread = 0; thread < threads; ++thread)
        users.emplace_back(use, thread);
    for (std::thread& user : users)
        user.join();
    EXPECT_GT(found, 0);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(namesIn(place()).size(), files);
}
