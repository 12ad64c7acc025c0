#pragma once

#include "app/ChildProgram.h"

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

    TestDirectory directory;
};

constexpr const char* ownProcess = "local";

/// The self-test over several plug-ins, with hosts of the program or in the tester's own process.
inline ProgramResult runSelfTest(const std::vector<std::string>& files,
                                 const std::string& host = PLUGIN_HOST_EXECUTABLE,
                                 const std::string& bound = "10") {
    std::vector<std::string> arguments{bound, host};
    arguments.insert(arguments.end(), files.begin(), files.end());
    return runProgram(arguments, {}, "/", SELF_TEST_PROGRAM);
}

/// The end of the output, from "Passed plugins:" on.
inline std::string verdictOf(const ProgramResult& result) {
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
