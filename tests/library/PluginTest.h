#pragma once

#include "support/Eventually.h"
#include "support/FileBytes.h"
#include "support/ScopedEnvironment.h"
#include "support/TestDirectory.h"

#include <plugin-host/client.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

/// Lines that several threads write.
class Lines {
public:
    void add(const std::string& line) {
        const std::scoped_lock lock(mutex);
        lines.push_back(line);
    }
    std::vector<std::string> all() const {
        const std::scoped_lock lock(mutex);
        return lines;
    }
    size_t count(const std::string& line) const {
        const std::vector<std::string> now = all();
        return static_cast<size_t>(std::count(now.begin(), now.end(), line));
    }
    bool waitFor(const std::string& line, size_t times = 1) const {
        return test_support::eventually([&] { return count(line) >= times; });
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

inline std::string examplePlugin(const std::string& file) {
    return EXAMPLE_PLUGIN_DIRECTORY "/" + file;
}
inline std::string testPlugin(const std::string& file) {
    return TEST_PLUGIN_DIRECTORY "/" + file;
}

/// What a call throws; OK if it doesn't.
template <class Call>
plugin_host_status statusOf(const Call& call) {
    try {
        call();
    } catch (const plugin_host::error& error) {
        return error.code();
    }
    return PLUGIN_HOST_OK;
}

/// The text of what a call throws.
template <class Call>
std::string errorOf(const Call& call) {
    try {
        call();
    } catch (const plugin_host::error& error) {
        return error.what();
    }
    return {};
}

/// The base of the tests that use the library as an application does, with folders of their own.
class PluginTest : public testing::Test {
protected:
    PluginTest() {
        for (const char* folder : {"runtime", "temporary", "cache"})
            std::filesystem::create_directory(directory / folder);
    }

    void TearDown() override {
        EXPECT_THAT(namesIn("runtime"), testing::IsEmpty());
        EXPECT_THAT(namesIn("temporary"), testing::IsEmpty());
    }

    /// Options with this build's host for plug-ins of either width.
    plugin_host::session_options options(const std::string& program = PLUGIN_HOST_EXECUTABLE) {
        plugin_host::session_options options;
        options.program_32 = program;
        options.program_64 = program;
        options.log = [this](plugin_host_host*, plugin_host::log_source, std::string_view line) {
            log.add(std::string(line));
        };
        return options;
    }

    std::vector<std::string> namesIn(const std::string& folder) const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory / folder))
            names.push_back(entry.path().filename());
        return names;
    }

    /// A shell script as a program.
    std::string script(const std::string& name, const std::string& commands) const {
        const std::string path = directory / name;
        std::ofstream(path) << "#!/bin/sh\n" << commands << "\n";
        chmod(path.c_str(), 0755);
        return path;
    }

    /// The host, which notes the first argument of each start.
    std::string countingProgram() const {
        return script("counting-host",
                      "echo \"$1\" >>\"$0.starts\"\nexec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"");
    }
    /// The starts that were for a report so far.
    size_t countReports() const {
        const std::vector<std::string> lines = linesOf(directory / "counting-host.starts");
        return static_cast<size_t>(std::count_if(lines.begin(), lines.end(),
                                                 [](const std::string& line) { return line != "host"; }));
    }

    static std::vector<std::string> linesOf(const std::string& path) {
        std::ifstream file(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }
    static bool waitForLine(const std::string& path, const std::string& line) {
        return test_support::eventually([&] {
            const std::vector<std::string> lines = linesOf(path);
            return std::find(lines.begin(), lines.end(), line) != lines.end();
        });
    }
    static void touch(const std::string& path) { std::ofstream(path) << '\n'; }

    Lines log;
    const test_support::TestDirectory directory;

private:
    const test_support::ScopedEnvironment runtime{"XDG_RUNTIME_DIR", (directory / "runtime").c_str()};
    const test_support::ScopedEnvironment temporary{"TMPDIR", (directory / "temporary").c_str()};
    const test_support::ScopedEnvironment cache{"XDG_CACHE_HOME", (directory / "cache").c_str()};
};
