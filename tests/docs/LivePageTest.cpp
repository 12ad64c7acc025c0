// plugin-host-live(1): if these fail, the page lacks an option or a variable of the program, or tells of one
// that it doesn't have.

#include "docs/SourceTree.h"
#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

namespace {

using Words = std::set<std::string>;

/// The first group of each match in a file of the tree.
Words matches(const std::string& file, const char* expression) {
    const std::string text = readText(inTree(file));
    const std::regex pattern(expression);
    Words found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
        found.insert(match->str(1));
    return found;
}

const std::string page = "docs/plugin-host-live.1";

} // namespace

TEST(LivePage, IsCleanForTheLintOfMandoc) {
    const test_support::ProgramResult result = test_support::runProgram(
        {"-T", "lint", "-W", "warning", inTree(page).string()}, {}, "/", "/usr/bin/mandoc");
    EXPECT_EQ(result.status, 0) << result.output << result.error;
}

TEST(LivePage, HasTheOptionsOfTheProgramAsItsSummaryDoes) {
    const Words options = matches("live/Options.cpp", "\\{\"([a-z]+)\", (?:no|required)_argument");
    EXPECT_EQ(options.size(), 8u);
    EXPECT_EQ(matches(page, "\\.It Fl -([a-z]+)"), options);
    EXPECT_EQ(matches("live/Options.cpp", "\"  (?:--help, )?--([a-z]+)[ \\\\]"), [&] {
        Words described = options;
        described.erase("help");
        return described;
    }());
}

TEST(LivePage, HasTheVariablesThatTheProgramReads) {
    for (const char* source : {"live/Player.cpp", "live/JackClient.cpp"}) {
        const Words read = matches(source, "(?:variable|getenv)\\(\"([A-Z_0-9]+)\"\\)");
        EXPECT_FALSE(read.empty()) << source;
        const Words described = matches(page, "\\.It Ev ([A-Z_0-9]+)");
        for (const std::string& name : read)
            EXPECT_TRUE(described.contains(name)) << name;
    }
}
