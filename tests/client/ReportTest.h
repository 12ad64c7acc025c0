#pragma once

#include "ClientTest.h"

#include "client/Cancellation.h"
#include "client/ReportProcess.h"
#include "support/Eventually.h"
#include "support/TestDirectory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

inline std::string readText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// The names in a directory.
inline std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename());
    return names;
}

/// What "echo" of the examples is, in its VST 2 form.
inline PluginDescription echoDescription() {
    PluginDescription echo;
    echo.vendor = "Example Works";
    echo.name = "Echo";
    echo.api = "VST 2.4";
    echo.identifier = "45636830";
    echo.version = "1";
    echo.category = "Delay / Reverb";
    echo.hasAudioInput = true;
    echo.hasAudioOutput = true;
    echo.audioInBusCount = 1;
    echo.audioOutBusCount = 1;
    echo.audioInChannelCount = 2;
    echo.audioOutChannelCount = 2;
    echo.deviceTypes = {0};
    echo.isComplete = true;
    return echo;
}

/// The base of tests that report files: what is left behind fails them, also in the directory of the reports.
class ReportTest : public ClientTest {
protected:
    void SetUp() override {
        ClientTest::SetUp();
        std::filesystem::create_directory(reports());
    }
    void TearDown() override {
        EXPECT_EQ(errorText(), "") << "something reached the application's console";
        EXPECT_EQ(namesIn(reports()), std::vector<std::string>());
        ClientTest::TearDown();
    }

    std::string reports() const { return directory / "reports"; }
    /// Where plug-ins write what the test has to learn, a line for each.
    std::string record() const { return directory / "record"; }

    /// The whole lines of the record so far.
    std::vector<std::string> recorded() const {
        std::ifstream file(record());
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line) && !file.eof();)
            lines.push_back(line);
        return lines;
    }

    /// Waits for the processes that note their numbers.
    std::vector<pid_t> awaitProcesses(size_t count) const {
        EXPECT_TRUE(
            test_support::eventually([&] { return recorded().size() >= count; }, test_support::longBound))
            << "fewer than " << count << " processes";
        std::vector<pid_t> processes;
        for (const std::string& line : recorded())
            processes.push_back(std::stoi(line));
        return processes;
    }

    static void expectGone(const std::vector<pid_t>& processes) {
        for (const pid_t process : processes) {
            EXPECT_TRUE(test_support::eventually([&] { return isGone(process) || isZombie(process); }))
                << process << " runs on";
        }
    }

    ReportRequest requestOf(const std::string& plugin) const {
        return {.program = PLUGIN_HOST_EXECUTABLE,
                .plugin = plugin,
                .timeLimit = 30,
                .variables = {{"PLUGIN_TEST_RECORD", record()}}};
    }

    /// A shell script as a program.
    std::string script(const std::string& name, const std::string& commands) const {
        const std::string path = directory / name;
        writeText(path, "#!/bin/sh\n" + commands + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }

    /// The host, with a line in a file for each start.
    std::string countingProgram() const {
        return script("counting-host",
                      "echo started >>\"$0.starts\"\nexec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"");
    }
    size_t countStarts() const {
        const std::string text = readText(directory / "counting-host.starts");
        return static_cast<size_t>(std::ranges::count(text, '\n'));
    }

    const test_support::TestDirectory directory;

private:
    const test_support::ScopedEnvironment runtimeVariable{"XDG_RUNTIME_DIR", nullptr};
    const test_support::ScopedEnvironment temporaryVariable{"TMPDIR", (directory / "reports").c_str()};
};
