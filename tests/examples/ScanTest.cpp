// The lister among the examples. If these fail, a script that reads its lines misses plug-ins, or takes a
// file that can't be loaded for one.

#include "support/ChildProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

using namespace test_support;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

const std::string scannedEcho = EXAMPLE_PLUGIN_DIRECTORY "/echo.so";

class ScanTest : public testing::Test {
protected:
    ProgramResult scan(const std::vector<std::string>& arguments) const {
        return runProgram(arguments, {{"XDG_CACHE_HOME", home.path}}, directory.path, SCAN_EXECUTABLE);
    }

    static std::vector<nlohmann::json> entries(const ProgramResult& result) {
        std::vector<nlohmann::json> all;
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);)
            all.push_back(nlohmann::json::parse(line));
        return all;
    }

    /// The one entry in a folder of the cache, made an hour old.
    static fs::path agedEntry(const fs::path& cache) {
        std::vector<fs::path> files;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(cache)) {
            if (entry.is_regular_file())
                files.push_back(entry.path());
        }
        EXPECT_EQ(files.size(), 1U);
        if (files.size() != 1)
            return {};
        fs::last_write_time(files[0], fs::file_time_type::clock::now() - std::chrono::hours(1));
        return files[0];
    }

    static bool isOld(const fs::path& file) {
        return fs::last_write_time(file) < fs::file_time_type::clock::now() - std::chrono::minutes(30);
    }

    const TestDirectory directory;
    const TestDirectory home;
};

} // namespace

TEST_F(ScanTest, EachPluginOfAFolderIsALine) {
    const ProgramResult result = scan({EXAMPLE_PLUGIN_DIRECTORY});
    EXPECT_EQ(result.status, 0) << result.error;
    std::multiset<std::string> files;
    for (const nlohmann::json& entry : entries(result)) {
        files.insert(fs::path(entry.at("path").get<std::string>()).filename());
        EXPECT_FALSE(entry.contains("error")) << entry;
    }
    EXPECT_THAT(files, ElementsAre("echo.so", "echo.vst3", "tone.so", "tone.vst3", "trio.so", "trio.so",
                                   "trio.so", "trio.vst3", "trio.vst3", "trio.vst3"));
}

TEST_F(ScanTest, ALineSaysWhatThePluginIs) {
    const std::vector<nlohmann::json> all = entries(scan({scannedEcho}));
    ASSERT_EQ(all.size(), 1U);
    const nlohmann::json& entry = all[0];
    EXPECT_EQ(entry.at("path"), scannedEcho);
    EXPECT_EQ(entry.at("format"), "VST 2");
    EXPECT_EQ(entry.at("width"), 8 * sizeof(void*));
    EXPECT_EQ(entry.at("name"), "Echo");
    EXPECT_EQ(entry.at("inputs"), 2);
    EXPECT_EQ(entry.at("outputs"), 2);
    EXPECT_EQ(entry.at("noteInput"), false);
}

TEST_F(ScanTest, AFileWithoutAPluginIsALineWithTheReason) {
    std::ofstream(directory / "broken.so") << "no library";
    const ProgramResult result = scan({scannedEcho, "broken.so"});
    EXPECT_EQ(result.status, 0) << result.error;
    const std::vector<nlohmann::json> all = entries(result);
    ASSERT_EQ(all.size(), 2U);
    const auto broken =
        std::find_if(all.begin(), all.end(), [](const auto& entry) { return entry.contains("error"); });
    ASSERT_NE(broken, all.end());
    EXPECT_THAT(broken->at("path").get<std::string>(), EndsWith("/broken.so"));
    EXPECT_NE(broken->at("error"), "");
    EXPECT_FALSE(broken->contains("name"));
}

TEST_F(ScanTest, OutcomesAreKeptInTheFolderThatIsNamedAndReportedAnewIfAsked) {
    const std::string first = scan({"--cache", directory / "kept", scannedEcho}).output;
    EXPECT_NE(first, "");
    EXPECT_THAT(std::vector<fs::path>(fs::directory_iterator(home.path), {}), IsEmpty());
    const fs::path entry = agedEntry(directory / "kept");
    EXPECT_EQ(scan({"--cache", directory / "kept", scannedEcho}).output, first);
    EXPECT_TRUE(isOld(entry));
    EXPECT_EQ(scan({"--anew", "--cache", directory / "kept", scannedEcho}).output, first);
    EXPECT_FALSE(isOld(entry));
}

TEST_F(ScanTest, ProgressIsShownOnATerminalAlone) {
    EXPECT_EQ(scan({scannedEcho}).error, "");
    const ProgramResult result =
        runProgram({"-qec", SCAN_EXECUTABLE " --anew '" + scannedEcho + "' 2>&1 >/dev/null", "/dev/null"},
                   {{"XDG_CACHE_HOME", home.path}}, directory.path, "/usr/bin/script");
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, HasSubstr("\r\033[K1/1 echo.so\r\033[K"));
}

TEST_F(ScanTest, WithoutAPathAndForAnUnknownOptionTheUsageIsPrinted) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"--new", scannedEcho}, {"--cache"}}) {
        const ProgramResult result = scan(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, StartsWith("scan: Usage: "));
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(ScanTest, LinesThatCannotBeWrittenAreAnError) {
    const ProgramResult result =
        runProgram({"-c", "exec " SCAN_EXECUTABLE " '" + scannedEcho + "' >/dev/full"},
                   {{"XDG_CACHE_HOME", home.path}}, "/", "/bin/bash");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, HasSubstr("scan: Could not write to the standard output stream\n"));
}
