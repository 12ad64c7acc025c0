// If these fail, what a newcomer copies from the README doesn't compile, or what a document leads to isn't
// there.

#include "docs/MarkdownDocument.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <utility>

namespace {

namespace fs = std::filesystem;

const fs::path tree = SOURCE_DIRECTORY;

std::string readFile(const fs::path& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// A document without its fenced blocks.
std::string proseOf(const fs::path& path) {
    std::ifstream lines(path);
    std::string prose;
    bool inCode = false;
    for (std::string line; std::getline(lines, line);) {
        inCode = inCode != line.starts_with("```");
        if (!inCode)
            prose += line + "\n";
    }
    return prose;
}

} // namespace

TEST(Readme, ShowsTheSmallestClientAsItIsBuilt) {
    const std::string source = readFile(tree / "examples/smallest-client/SmallestClient.cpp");
    const size_t start = source.find("#include");
    ASSERT_NE(start, std::string::npos);
    EXPECT_NE(readFile(tree / "README.md").find("```cpp\n" + source.substr(start) + "```"),
              std::string::npos);
}

TEST(Readme, NamesScriptsAndFilesThatExist) {
    const std::regex names("(scripts|docs|examples)/[A-Za-z0-9./-]*[A-Za-z0-9]");
    for (const auto& [document, fewest] : {std::pair("README.md", 8u), std::pair("CONTRIBUTING.md", 4u),
                                           std::pair("docs/client.md", 4u), std::pair("docs/live.md", 0u)}) {
        const std::string text = readFile(tree / document);
        size_t checked = 0;
        for (std::sregex_iterator name(text.begin(), text.end(), names); name != std::sregex_iterator();
             ++name) {
            EXPECT_TRUE(fs::exists(tree / name->str())) << "The tree doesn't have " << name->str();
            ++checked;
        }
        EXPECT_GT(checked, fewest) << document;
    }
}

TEST(Documents, LinkToFilesThatExist) {
    const std::regex links("\\]\\(([^):#]+)[^)]*\\)");
    for (const auto& [document, fewest] :
         {std::pair("README.md", 8u), std::pair("CONTRIBUTING.md", 4u), std::pair("docs/developing.md", 0u),
          std::pair("docs/client.md", 2u), std::pair("docs/live.md", 1u)}) {
        const std::string text = proseOf(tree / document);
        size_t checked = 0;
        for (std::sregex_iterator link(text.begin(), text.end(), links); link != std::sregex_iterator();
             ++link) {
            const fs::path target = (tree / document).parent_path() / link->str(1);
            EXPECT_TRUE(fs::exists(target)) << document << " links " << link->str(1);
            ++checked;
        }
        EXPECT_GT(checked, fewest) << document;
    }
}

TEST(Documents, LeadFromTheReadmeToTheOneForContributorsAndToTheFirstHour) {
    EXPECT_NE(readFile(tree / "README.md").find("](CONTRIBUTING.md)"), std::string::npos);
    EXPECT_NE(readFile(tree / "CONTRIBUTING.md").find("](docs/developing.md)"), std::string::npos);
}
