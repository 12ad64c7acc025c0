// What the libraries are to a linker. If these fail, an application that was built with an older version no
// longer starts, binds to functions that aren't promised, or has the library's own names mixed up with its
// own.

#include "support/ChildProgram.h"
#include "support/FileBytes.h"
#include "support/TestDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>

using namespace test_support;
using testing::ElementsAre;

namespace {

/// What a command prints.
std::string outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    char bytes[4096];
    for (size_t count = 0; (count = fread(bytes, 1, sizeof bytes, pipe)) > 0;)
        text.append(bytes, count);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return text;
}

std::set<std::string> matchesIn(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match)
        found.insert((*match)[1]);
    return found;
}

std::set<std::string> linesOf(const std::string& text) {
    std::set<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.insert(line);
    return lines;
}

std::set<std::string> listed() {
    return matchesIn(readFile(SYMBOL_LIST), "\n +(plugin_host_[a-z0-9_]+);");
}

/// The names of the defined symbols that a linker sees.
std::set<std::string> exported(const std::string& options, const std::string& file) {
    std::set<std::string> names = linesOf(
        outputOf("nm " + options + " --defined-only --extern-only --format=just-symbols '" + file + "'"));
    std::erase_if(names, [](const std::string& name) { return name.empty() || name.back() == ':'; });
    return names;
}

} // namespace

TEST(Symbols, TheHeaderDeclaresWhatTheListHas) {
    EXPECT_EQ(matchesIn(readFile(CLIENT_HEADER), "PLUGIN_HOST_API [a-z_ ]+\\*? ?(plugin_host_[a-z0-9_]+)\\("),
              listed());
    EXPECT_GT(listed().size(), 40U);
}

TEST(Symbols, TheSharedLibraryExportsTheListAlone) {
    std::set<std::string> names;
    for (const std::string& name : exported("-D", SHARED_LIBRARY))
        names.insert(name.substr(0, name.find('@')));
    EXPECT_EQ(names.erase("PLUGIN_HOST_0"), 1U);
    EXPECT_EQ(names, listed());
}

TEST(Symbols, TheSharedLibraryHasItsName) {
    EXPECT_THAT(matchesIn(outputOf("readelf -d " SHARED_LIBRARY), "soname: \\[(.*)\\]"),
                ElementsAre("libplugin-host-client.so.0"));
}

#ifdef STATIC_LIBRARY

TEST(Symbols, TheStaticLibraryExportsTheListAlone) {
    EXPECT_EQ(exported("", STATIC_LIBRARY), listed());
}

TEST(Symbols, TheSharedLibraryNeedsTheSystemsAlone) {
    const std::set<std::string> needed =
        matchesIn(outputOf("readelf -d " SHARED_LIBRARY), "NEEDED.*\\[([a-z_+]+|ld-linux)[-x8664.0-9]*so");
    EXPECT_FALSE(needed.empty());
    const std::set<std::string> allowed = {"libmd", "libstdc++", "libm", "libgcc_s", "libc", "ld-linux"};
    for (const std::string& library : needed)
        EXPECT_TRUE(allowed.contains(library)) << library;
    EXPECT_TRUE(needed.contains("libstdc++"));
}

TEST(Symbols, AProgramWithTemplatesOfItsOwnLinksTheStaticLibrary) {
    const ProgramResult run = runProgram({PLUGIN_HOST_EXECUTABLE, EXAMPLE_PLUGIN_DIRECTORY "/echo.so"}, {},
                                         "/", STATIC_CLIENT_PROGRAM);
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(run.output, "Echo\n");
}

#endif

#ifdef IS_OPTIMISED

TEST(Symbols, TheSharedLibraryIsSmall) {
    const TestDirectory folder;
    outputOf("strip --strip-unneeded -o '" + (folder / "stripped") + "' " SHARED_LIBRARY);
    EXPECT_LT(std::filesystem::file_size(folder / "stripped"), 400 * 1024U);
}

#endif

#ifdef ABI_FOLDER

namespace {

/// Where a client's header differs from that of the stored dumps.
class AbiTest : public testing::TestWithParam<const char*> {
protected:
    /// Whether a program that was built with the stored interface runs with that of a header.
    bool isCompatible(const std::string& header) {
        writeFile(folder / "client.h", header);
        const std::string dump = folder / "now.abi";
        EXPECT_EQ(std::system((ABI_FOLDER "/dump '" + (folder / "client.h") + "' " SYMBOL_LIST " " +
                               GetParam() + " '" + dump + "'")
                                  .c_str()),
                  0);
        constexpr int failed = 3; // of the bits that abidiff answers with
        constexpr int changed = 12;
        const std::string stored = std::string(ABI_FOLDER "/client-") + GetParam() + ".abi";
        const int status =
            std::system(("abidiff --no-added-syms '" + stored + "' '" + dump + "' >&2").c_str());
        EXPECT_EQ(WEXITSTATUS(status) & failed, 0);
        return (WEXITSTATUS(status) & changed) == 0;
    }

    static std::string replaced(std::string text, const std::string& from, const std::string& to) {
        const size_t place = text.find(from);
        EXPECT_NE(place, std::string::npos) << from;
        return place == std::string::npos ? text : text.replace(place, from.size(), to);
    }

    const std::string header = readFile(CLIENT_HEADER);
    const TestDirectory folder;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Widths, AbiTest, testing::Values("32", "64"));

TEST_P(AbiTest, TheHeaderFitsProgramsThatWereBuiltBefore) {
    EXPECT_TRUE(isCompatible(header));
}

TEST_P(AbiTest, AChangedOrderOfFieldsIsSeen) {
    const std::string first = "    const char* path;\n    /** Which plug-in of the file";
    EXPECT_FALSE(
        isCompatible(replaced(replaced(header, first, "    /** Which plug-in of the file"),
                              "    const char* identifier;\n    /** A preset",
                              "    const char* identifier;\n    const char* path;\n    /** A preset")) &&
        isCompatible(replaced(header, "    int32_t sample_rate;\n", "    int64_t sample_rate;\n")));
    EXPECT_FALSE(isCompatible(replaced(header, "    uint32_t frame;\n", "    uint64_t frame;\n")));
}

TEST_P(AbiTest, AChangedFunctionIsSeen) {
    EXPECT_FALSE(isCompatible(
        replaced(header, "plugin_host_plugin_get_event(plugin_host_plugin* plugin, size_t index",
                 "plugin_host_plugin_get_event(plugin_host_plugin* plugin, uint64_t index, int more")));
}

TEST_P(AbiTest, AnAddedFunctionIsNoChange) {
    EXPECT_TRUE(isCompatible(replaced(header, "PLUGIN_HOST_API plugin_host_status plugin_host_plugin_stop(",
                                      "PLUGIN_HOST_API void plugin_host_more(int a);\n"
                                      "PLUGIN_HOST_API plugin_host_status plugin_host_plugin_stop(")));
}

#endif

namespace {

bool compiles(const std::string& compiler) {
    return std::system(
               (compiler + " -Wall -Wextra -pedantic -Wconversion -Werror -fsyntax-only " CLIENT_HEADER)
                   .c_str()) == 0;
}

} // namespace

TEST(Headers, EachCompilesAloneInItsLanguages) {
    EXPECT_TRUE(compiles(C_COMPILER " -xc -std=c99"));
    EXPECT_TRUE(compiles(C_COMPILER " -xc -std=c11"));
    EXPECT_TRUE(compiles(CXX_COMPILER " -xc++ -std=c++20"));
}

TEST(Clients, AProgramInCPlaysABlock) {
    const ProgramResult run =
        runProgram({PLUGIN_HOST_EXECUTABLE, EXAMPLE_PLUGIN_DIRECTORY "/echo.so"}, {}, "/", C_CLIENT_PROGRAM);
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(run.output, "Echo, 2 inputs, 2 outputs, 3 parameters\n0.6\n");
}

// The interpreter has the width of the system.
#ifdef PYTHON_CLIENT

TEST(Clients, AProgramInPythonPlaysABlock) {
    const ProgramResult run = runProgram(
        {PYTHON_CLIENT, SHARED_LIBRARY, PLUGIN_HOST_EXECUTABLE, EXAMPLE_PLUGIN_DIRECTORY "/echo.so"}, {}, "/",
        "/usr/bin/python3");
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(run.output, "Echo, 2 inputs, 2 outputs, 3 parameters\n0.6\n");
}

#endif
