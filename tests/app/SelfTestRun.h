#pragma once

#include "support/ChildProgram.h"

#include <string>
#include <utility>
#include <vector>

/// Copies of plug-ins in a directory of the test's own, since the self-test saves presets beside them. Each
/// operation returns the path of the copy.
class PluginsUnderTest {
public:
    std::string addExample(const std::string& name) {
        return copy(std::string(EXAMPLE_PLUGIN_DIRECTORY "/") + name, name);
    }
    std::string add(const std::string& name) {
        return copy(std::string(TEST_PLUGIN_DIRECTORY "/") + name, name);
    }
    /// Of the effect that does what its file's name says.
    std::string addNamed(const std::string& name) {
        return copy(TEST_PLUGIN_DIRECTORY "/does-as-it-is-named.so", name);
    }

    std::string operator/(const std::string& name) const { return directory / name; }

private:
    std::string copy(const std::string& plugin, const std::string& name) const {
        const std::string path = directory / name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::filesystem::copy_file(plugin, path);
        return path;
    }

    test_support::TestDirectory directory;
};

constexpr const char* ownProcess = "local";

/// The clock of the steps of a self-test, which stands still until it is turned.
class StepClock {
public:
    /// What makes the step that waits for `subject` overdue, once it is the current one: a file of this path.
    /// A program or a plug-in that hangs makes the file that `variable` holds.
    std::string turning(const std::string& subject) const { return directory / subject; }
    static constexpr const char* variable = "SELF_TEST_CLOCK_TURN";

    const std::string& path() const { return directory.path; }

private:
    test_support::TestDirectory directory;
};

/// The self-test over several plug-ins, with hosts of the program or in the tester's own process. What hangs
/// does so until the step that waits for `hangingSubject` is overdue.
inline test_support::ProgramResult runSelfTest(const std::vector<std::string>& files,
                                               const std::string& host = PLUGIN_HOST_EXECUTABLE,
                                               const std::string& hangingSubject = "nothing",
                                               test_support::ChildProgram::Environment environment = {}) {
    const StepClock clock;
    std::vector<std::string> arguments{clock.path(), host};
    arguments.insert(arguments.end(), files.begin(), files.end());
    environment[StepClock::variable] = clock.turning(hangingSubject);
    return test_support::runProgram(arguments, environment, "/", SELF_TEST_PROGRAM);
}

/// The end of the output, from "Passed plugins:" on.
inline std::string verdictOf(const test_support::ProgramResult& result) {
    const size_t start = result.output.find("Passed plugins:\n");
    return start != std::string::npos ? result.output.substr(start) : "None in: " + result.output;
}

/// A plug-in's file and why it failed.
using Failure = std::pair<std::string, std::string>;

inline std::string verdict(const std::vector<std::string>& passed, const std::vector<Failure>& failed) {
    std::string text = "Passed plugins:\n";
    for (const std::string& file : passed)
        text += "    " + file + "\n";
    text += "\n\nFailed plugins:\n";
    for (const auto& [file, reason] : failed)
        text += file + ":      " + reason + "\n";
    return text + "\n\nPassed : " + std::to_string(passed.size()) +
           " Failed: " + std::to_string(failed.size()) + "\n";
}
