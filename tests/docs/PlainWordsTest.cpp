// Comments are read by engineers from elsewhere: if these fail, one has words that they have to read twice.

#include "docs/SourceTree.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

/// What is said instead: who calls, owns or reads; ignored, any, logged, reported; who relies on it.
const std::regex quaint("\\b(nobody|whatever|known by heart|come to expect|is told|are told)\\b");

const std::vector<std::string> plainFolders = {
    "core",   "window", "app",   "examples", "benchmarks", "fuzz", //
    "lib",    "vst2",   "vst3",                                    //
    "client", "host",   "local", "library",  "live",               //
};

} // namespace

TEST(PlainWords, AreThoseOfTheProductsComments) {
    size_t seen = 0;
    for (const std::string& folder : plainFolders) {
        for (const std::string& file : sourcesBelow(folder)) {
            for (const std::string& comment : commentsOf(readText(inTree(file)))) {
                EXPECT_FALSE(std::regex_search(comment, quaint)) << file << ": " << comment;
                ++seen;
            }
        }
    }
    EXPECT_GT(seen, 500U) << "The scan hardly saw a comment";
}

TEST(PlainWords, AreLookedForInCommentsAlone) {
    EXPECT_EQ(commentsOf("int a; // Nobody\nint b;\n"), std::vector<std::string>{"nobody"});
    EXPECT_EQ(commentsOf("/// One that is\n/// told.\n\n// Another.\n"),
              (std::vector<std::string>{"one that is told.", "another."}));
    EXPECT_EQ(commentsOf("int a; // one\n// two\nint b; // three\n"),
              (std::vector<std::string>{"one", "two", "three"}));
    EXPECT_EQ(commentsOf("call(\"http://nobody\", '\"', \"\\\"//\"); // one\n"),
              std::vector<std::string>{"one"});
    EXPECT_EQ(commentsOf("int a;\n"), std::vector<std::string>());
}
