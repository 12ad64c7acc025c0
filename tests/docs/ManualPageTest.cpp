// plugin-host(1): if these fail, `man plugin-host` isn't there after an installation, or it lacks an action,
// a variable or an exit status, or tells of one that the program doesn't have.

#include "app/PluginReport.h"
#include "client/HostLeftovers.h"
#include "core/ChildProcess.h"
#include "core/NamedPipe.h"
#include "plugin/Channels.h"
#include "plugin/Extensions.h"
#include "support/CapturedOutput.h"
#include "support/TestDirectory.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

using namespace test_support;

namespace {

namespace fs = std::filesystem;
using base::core::ChildProcess;

const fs::path tree = SOURCE_DIRECTORY;
const fs::path page = tree / "docs/plugin-host.1";

std::string readText(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The lines of a section of the page, or of all of it.
std::vector<std::string> linesOf(const std::string& section = {}) {
    std::vector<std::string> lines;
    std::istringstream text(readText(page));
    bool inside = section.empty();
    for (std::string line; std::getline(text, line);) {
        if (!section.empty() && line.starts_with(".Sh "))
            inside = line == ".Sh " + section;
        else if (inside)
            lines.push_back(line);
    }
    return lines;
}

/// The words of a section that stand behind `prefix` at the start of a line.
std::set<std::string> wordsBehind(const std::string& prefix, const std::string& section = {}) {
    std::set<std::string> words;
    for (const std::string& line : linesOf(section)) {
        if (line.starts_with(prefix))
            words.insert(line.substr(prefix.size(), line.find(' ', prefix.size()) - prefix.size()));
    }
    return words;
}

/// The first group of each match in a text.
std::set<std::string> matches(const std::string& text, const char* expression) {
    std::set<std::string> found;
    const std::regex pattern(expression);
    for (std::sregex_iterator match(text.begin(), text.end(), pattern); match != std::sregex_iterator();
         ++match)
        found.insert(match->str(1));
    return found;
}

/// All that the program, and the client's side in it, are made from.
std::string sources() {
    std::string text;
    for (const char* folder :
         {"core", "lib", "vst2", "vst3", "window", "host", "client", "library", "local", "app"}) {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree / folder)) {
            if (entry.path().extension() == ".cpp")
                text += readText(entry.path());
        }
    }
    return text;
}

/// The exit code of a program, whose words are a part of the failure if it isn't `expected`.
void expectExitCode(const std::vector<String>& arguments, int expected) {
    const CapturedOutput output(STDOUT_FILENO);
    const CapturedOutput errors(STDERR_FILENO);
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch(arguments);
    const int status = child->waitForExit();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == expected)
        << arguments[0].toStdString() << ": " << output.text() << errors.text();
}

TEST(ManualPage, IsCleanForTheLintOfMandoc) {
    expectExitCode({"mandoc", "-T", "lint", "-W", "warning", page.c_str()}, 0);
}

TEST(ManualPage, HasTheActionsOfTheProgram) {
    const std::set<std::string> actions =
        matches(readText(tree / "app/CommandLine.cpp"), "action == \"([a-z-]+)\"");
    EXPECT_EQ(actions.size(), 6u);
    EXPECT_EQ(wordsBehind(".It Cm ", "DESCRIPTION"), actions);
    EXPECT_EQ(wordsBehind(".Cm ", "SYNOPSIS"), actions);
}

TEST(ManualPage, HasTheVariablesThatTheProgramReads) {
    const std::string text = sources();
    const std::set<std::string> listed = wordsBehind(".It Ev ", "ENVIRONMENT");
    std::set<std::string> read = matches(text, "(?:getenv|getEnvironmentVariable)\\(\"?([A-Za-z_]+)\"?[,)]");
    // The parameter of the call itself, and the variables that have a constant.
    EXPECT_EQ(read.erase("name"), 1u);
    for (const std::string constant : {"libraryPathVariable", "extensionsVariable"}) {
        EXPECT_EQ(read.erase(constant), 1u);
        read.merge(matches(text, (constant + " = \"([A-Z_]+)\"").c_str()));
    }
    // Read by the loader, and given to hosts.
    read.merge(matches(text, "entries\\[\"([A-Z_]+)\"\\] ="));
    EXPECT_EQ(listed, read);
    EXPECT_GE(listed.size(), 6u);
}

TEST(ManualPage, HasTheExtensionsOfAHost) {
    const std::set<std::string> described = wordsBehind(".It Ql ", "ENVIRONMENT");
    EXPECT_EQ(described.size(), std::size(extensionNames));
    for (const auto& [extension, name] : extensionNames)
        EXPECT_TRUE(described.contains(name)) << "The page lacks " << name;
}

TEST(ManualPage, HasThePipesOfAHostAndTheirLock) {
    const std::set<std::string> paths = wordsBehind(".Pa ", "FILES");
    const std::pair<String, bool> pipes[] = {{mainChannelName(1), true},
                                             {mainChannelName(1), false},
                                             {asyncChannelName(1), false},
                                             {workerChannelName(1, 0), true},
                                             {workerChannelName(1, 0), false}};
    for (const auto& [channel, toClient] : pipes) {
        const fs::path path = base::core::namedPipePath(channel, toClient).toStdString();
        EXPECT_TRUE(paths.contains(path.filename())) << "The page lacks " << path.filename();
        EXPECT_EQ(path.parent_path(),
                  fs::path("/tmp/pipes-" + std::string(std::getenv("USER")) + "/tanvex/engine/plugin1"));
    }
    EXPECT_TRUE(paths.contains(hostLockName)) << "The page lacks the lock file";
    EXPECT_EQ(paths.size(), std::size(pipes) + 1);
    EXPECT_TRUE(wordsBehind(".It Pa ", "FILES").contains("/tmp/pipes-"));
    EXPECT_NE(readText(page).find("Pa /tanvex/engine/plugin Ns Ar id"), std::string::npos);
}

TEST(ManualPage, HasTheNameOfSharedMemory) {
    const std::string name = audioBlockName(11, 22).toStdString();
    const std::string form =
        std::regex_replace(std::regex_replace(name, std::regex("11"), "ID"), std::regex("22"), "INSTANCE");
    EXPECT_EQ(wordsBehind(".Ql USER-", "FILES"), std::set<std::string>{form});
}

TEST(ManualPage, HasTheExitStatusesOfTheProgram) {
    std::set<std::string> statuses = {"1", "2", "134"}; // the X server, and an abort
    for (const ReportStatus status :
         {ReportStatus::complete, ReportStatus::recordCutShort, ReportStatus::failed,
          ReportStatus::failedUnknown, ReportStatus::failedStandard})
        statuses.insert(std::to_string(static_cast<int>(status) & 0xFF));
    EXPECT_EQ(wordsBehind(".It ", "EXIT STATUS"), statuses);
}

TEST(Installation, BringsTheProgramItsManualPageAndItsDocuments) {
    const TestDirectory prefix;
    expectExitCode({CMAKE_PROGRAM, "--install", BUILD_DIRECTORY, "--prefix", prefix.path.c_str()}, 0);
    expectExitCode({(prefix / "bin/plugin-host").c_str(), "list", prefix.path.c_str()}, 0);
    EXPECT_EQ(readText(prefix / "share/man/man1/plugin-host.1"), readText(page));
    for (const char* document : {"README.md", "LICENSE", "CHANGELOG.md", "docs/protocol.md"})
        EXPECT_EQ(readText(prefix / ("share/doc/plugin-host/" + std::string(document))),
                  readText(tree / document));
}

} // namespace
