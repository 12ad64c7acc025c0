#pragma once

#include "support/ScopedEnvironment.h"
#include "support/TestDirectory.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace core_tests {

/// Writes a shell script that can be executed.
inline void writeScript(const std::string& path, const std::string& body) {
    std::ofstream(path) << "#!/bin/sh\nPATH=/usr/bin:/bin\n" << body << '\n';
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/// The dialog command of a scope: a script in a directory of its own.
class StandInDialog {
public:
    explicit StandInDialog(const std::string& body) { writeScript(directory / "dialog", body); }

    /// Prints one answer after the other, and keeps the arguments of each call.
    explicit StandInDialog(const std::vector<std::string>& answers)
        : StandInDialog("cd \"${0%/*}\"\n"
                        "call=1\n"
                        "while [ -e call-$call ]; do call=$((call + 1)); done\n"
                        "printf '%s\\0' \"$@\" >call-$call\n"
                        "sed -n ${call}p answers") {
        std::ofstream file(directory / "answers");
        for (const std::string& answer : answers)
            file << answer << '\n';
    }

    /// The arguments of a call, which are counted from 1; none if there wasn't such a call.
    std::vector<std::string> argumentsOfCall(int call) const {
        std::ifstream file(directory / ("call-" + std::to_string(call)));
        std::vector<std::string> arguments;
        for (std::string argument; std::getline(file, argument, '\0');)
            arguments.push_back(argument);
        return arguments;
    }

    int callCount() const {
        int count = 0;
        while (std::filesystem::exists(directory / ("call-" + std::to_string(count + 1))))
            ++count;
        return count;
    }

    const test_support::TestDirectory directory;

private:
    const test_support::ScopedEnvironment command{"MESSAGE_DIALOG_COMMAND", (directory / "dialog").c_str()};
    // Otherwise a terminal that the tests are started from is asked.
    const test_support::ScopedEnvironment display{"DISPLAY", ":0"};
};

} // namespace core_tests
