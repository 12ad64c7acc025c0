// Where the programs look for libraries. An empty entry is the directory that a program is started in:
// whoever leaves a library there would have it run.

#include "core/ChildProcess.h"
#include "core/Ref.h"
#include "core/String.h"
#include "support/CapturedOutput.h"
#include "support/ScopedEnvironment.h"
#include "support/TestDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

using namespace test_support;

namespace {

using base::core::ChildProcess;
using base::core::Ref;
using base::core::String;

/// What a program prints.
std::string outputOf(const std::vector<String>& arguments) {
    const CapturedOutput captured(STDOUT_FILENO);
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch(arguments);
    EXPECT_EQ(child->waitForExit(), 0) << arguments[0].toStdString();
    return captured.text();
}

/// The entries of the run path of a file, by "readelf".
std::vector<std::string> runPathOf(const std::string& file) {
    const ScopedEnvironment language("LC_ALL", "C");
    const std::string section = outputOf({"readelf", "-d", file.c_str()});
    EXPECT_NE(section.find("(NEEDED)"), std::string::npos) << "Not a program: " << file;
    std::vector<std::string> entries;
    for (size_t line = section.find("PATH)"); line != std::string::npos; line = section.find("PATH)", line)) {
        const size_t start = section.find('[', line) + 1;
        line = section.find(']', start);
        std::string list = section.substr(start, line - start) + ":";
        for (size_t end; (end = list.find(':')) != std::string::npos; list.erase(0, end + 1))
            entries.push_back(list.substr(0, end));
    }
    return entries;
}

void expectNoEmptyEntry(const std::string& file) {
    for (const std::string& entry : runPathOf(file))
        EXPECT_TRUE(entry.starts_with('/')) << file << " looks in \"" << entry << "\"";
}

TEST(RunPath, OfNoProgramIsTheDirectoryThatItIsStartedIn) {
    for (const char* program : {PLUGIN_HOST_EXECUTABLE, SMALLEST_CLIENT_PROGRAM, RENDER_PROGRAM})
        expectNoEmptyEntry(program);
}

TEST(RunPath, OfNoPluginIsTheDirectoryThatItsHostIsStartedIn) {
    for (const char* plugin : {"echo.so", "echo.vst3"})
        expectNoEmptyEntry(std::string(EXAMPLE_PLUGIN_DIRECTORY "/") + plugin);
}

TEST(RunPath, OfTheInstalledProgramIsNotEither) {
    const TestDirectory prefix;
    outputOf({CMAKE_PROGRAM, "--install", BUILD_DIRECTORY, "--prefix", prefix.path.c_str()});
    expectNoEmptyEntry(prefix / "bin/plugin-host");
}

} // namespace
