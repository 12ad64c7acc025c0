// If these fail, what a newcomer copies from the README doesn't compile, or isn't there.

#include "docs/MarkdownDocument.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace {

namespace fs = std::filesystem;

const fs::path tree = SOURCE_DIRECTORY;

std::string readFile(const fs::path& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
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
    const std::string text = readFile(tree / "README.md");
    const std::regex names("(scripts|docs|examples)/[A-Za-z0-9./-]*[A-Za-z0-9]");
    size_t checked = 0;
    for (std::sregex_iterator name(text.begin(), text.end(), names); name != std::sregex_iterator(); ++name) {
        EXPECT_TRUE(fs::exists(tree / name->str())) << "The tree doesn't have " << name->str();
        ++checked;
    }
    EXPECT_GT(checked, 8u);
}
