// docs/client.md and the comments of the library's headers: if these fail, what the author of an application
// copies doesn't compile, or a function is nowhere explained.

#include "docs/MarkdownDocument.h"
#include "docs/SourceTree.h"
#include "support/TestDirectory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace test_support;

namespace {

const MarkdownDocument& document() {
    static const MarkdownDocument page("docs/client.md");
    return page;
}

std::string header() {
    return readText(inTree("library/include/plugin-host/client.h"));
}

/// What is found by a regular expression's first group.
std::vector<std::string> findAll(const std::string& text, const std::string& expression) {
    const std::regex pattern(expression);
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern); match != std::sregex_iterator();
         ++match)
        found.push_back(match->str(1));
    return found;
}

std::vector<std::string> functions() {
    return findAll(header(), "PLUGIN_HOST_API [^;()]*\\b(plugin_host_[a-z_]+)\\(");
}

/// The fenced blocks of a language.
std::vector<std::string> blocksOf(const std::string& language) {
    std::vector<std::string> blocks;
    std::istringstream lines(document().getText());
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (inside && line == "```")
            inside = false;
        else if (inside)
            blocks.back() += line + "\n";
        else if (line == "```" + language) {
            inside = true;
            blocks.emplace_back();
        }
    }
    return blocks;
}

/// Whether a block is what stands outside of functions.
bool isWholeFile(const std::string& block) {
    return std::regex_search(block, std::regex("^(#include|void|int|struct|class) ?[^;=]*\n"));
}

/// A block of C as a source. What it takes from elsewhere are the handles.
std::string sourceOfC(const std::string& block) {
    const std::string head =
        "#include <plugin-host/client.h>\n#include <poll.h>\n#include <stdio.h>\n#include <string.h>\n"
        "#include <time.h>\n#include <unistd.h>\n";
    if (isWholeFile(block))
        return head + block;
    return head +
           "void block(plugin_host_session *session, plugin_host_plugin *plugin, plugin_host_plugin *other) "
           "{\n(void)session, (void)plugin, (void)other;\n{\n" +
           block + "}\n}\n";
}

/// All as one source, since most of the time goes into the headers.
std::string sourceOfCpp(const std::vector<std::string>& blocks) {
    std::string source = "#include <plugin-host/client.hpp>\n#include <cstdio>\n#include <string>\n";
    for (size_t i = 0; i < blocks.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        source += "void block" + number + "(plugin_host::session& session, plugin_host::plugin& plugin) {\n" +
                  "(void)session, (void)plugin;\n{\n#line 1 \"block " + number + "\"\n" + blocks[i] +
                  "}\n}\n";
    }
    return source;
}

/// What the compiler says, which is nothing about a source without a mistake.
std::string compile(const std::string& compiler, const std::string& ending, const std::string& source) {
    const TestDirectory directory;
    const std::string file = directory / ("block." + ending);
    std::ofstream(file) << source;
    const std::string command = compiler + " -D_GNU_SOURCE -Wall -Wextra -Werror -fsyntax-only -I'" +
                                inTree("library/include").string() + "' '" + file + "' 2>&1";
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(popen(command.c_str(), "r"), pclose);
    std::string output;
    for (int byte = 0; stream && (byte = std::fgetc(stream.get())) != EOF;)
        output += static_cast<char>(byte);
    return output;
}

} // namespace

TEST(ClientDocument, ShowsCThatCompiles) {
    const std::vector<std::string> blocks = blocksOf("c");
    EXPECT_GE(blocks.size(), 6U);
    for (const std::string& block : blocks)
        EXPECT_EQ(compile(C_COMPILER " -std=c11", "c", sourceOfC(block)), "") << block;
}

TEST(ClientDocument, ShowsCppThatCompiles) {
    const std::vector<std::string> blocks = blocksOf("cpp");
    EXPECT_GE(blocks.size(), 5U);
    EXPECT_EQ(compile(CXX_COMPILER " -std=c++20", "cpp", sourceOfCpp(blocks)), "");
}

TEST(ClientDocument, IsCheckedByACompilerThatComplains) {
    EXPECT_NE(compile(C_COMPILER " -std=c11", "c", sourceOfC("plugin_host_no_such();\n")), "");
    EXPECT_NE(compile(CXX_COMPILER " -std=c++20", "cpp", sourceOfCpp({"session.none();\n"})), "");
}

TEST(ClientDocument, NamesEachFunctionOfTheInterfaceAndNoOther) {
    const std::vector<std::string> all = functions();
    EXPECT_GT(all.size(), 40U);
    const std::vector<std::string> named = findAll(document().getText(), "`(plugin_host_[a-z_]+)`");
    EXPECT_EQ(std::set<std::string>(named.begin(), named.end()),
              std::set<std::string>(all.begin(), all.end()));
}

TEST(ClientDocument, NamesConstantsThatTheInterfaceHas) {
    const std::string text = header();
    for (const std::string& name : findAll(document().getText(), "`(PLUGIN_HOST_[A-Z0-9_]+)`"))
        EXPECT_NE(text.find(name), std::string::npos) << name;
}

TEST(ClientDocument, NamesEachStatusButThatOfSuccess) {
    const std::string text = header();
    const size_t start = text.find("typedef enum plugin_host_status {");
    const std::string statuses = text.substr(start, text.find("} plugin_host_status;") - start);
    const std::vector<std::string> names = findAll(statuses, "(PLUGIN_HOST_[A-Z_]+) = [1-9]");
    EXPECT_EQ(names.size(), 14U);
    for (const std::string& name : names)
        EXPECT_NE(document().getText().find("`" + name + "`"), std::string::npos) << name;
}

TEST(ClientDocument, HasTheHeadingsOfItsList) {
    for (const std::string& heading : findAll(document().getText(), "\n- \\[([^\\]]+)\\]\\(#"))
        EXPECT_NE(document().getText().find("\n## " + heading + "\n"), std::string::npos) << heading;
}

TEST(ClientHeader, ExplainsEachFunctionInAComment) {
    const std::string text = header();
    for (size_t place = text.find("\nPLUGIN_HOST_API "); place != std::string::npos;
         place = text.find("\nPLUGIN_HOST_API ", place + 1)) {
        const size_t opening = text.rfind("/*", place);
        EXPECT_TRUE(text.compare(place - 2, 2, "*/") == 0 && text.compare(opening, 3, "/**") == 0)
            << text.substr(place, text.find('(', place) - place);
    }
}

TEST(ClientHeader, MakesPagesWithoutAWarning) {
    if (std::system("command -v doxygen >/dev/null") != 0) {
        std::cout << "not run: the pages of the library's headers, for which doxygen is missing\n";
        GTEST_SKIP();
    }
    const TestDirectory directory;
    const std::string command =
        inTree("scripts/docs").string() + " '" + (directory / "pages") + "' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    for (const char* page : {"client_8h.html", "client_8hpp.html"})
        EXPECT_NE(readText(directory / (std::string("pages/html/") + page)).find("</html>"),
                  std::string::npos)
            << page;
    EXPECT_NE(readText(directory / "pages/html/client_8h.html").find("and waits for the worker"),
              std::string::npos);
}
