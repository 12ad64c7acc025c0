// docs/oddities.md is the one list of what looks like a mistake and isn't: if these fail, somebody mends a
// place that others rely on, or trusts an entry that no source has any more.

#include "docs/SourceTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

struct Entry {
    std::string section;
    std::string name;
    std::string text;
};

std::vector<Entry> entriesOf(const std::string& page) {
    std::vector<Entry> entries;
    std::string section;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("## "))
            section = line.substr(3);
        else if (line.starts_with("### "))
            entries.push_back({section, line.substr(4), ""});
        else if (!entries.empty())
            entries.back().text += line + "\n";
    }
    return entries;
}

const std::vector<Entry>& entries() {
    static const std::vector<Entry> all = entriesOf(readText(inTree("docs/oddities.md")));
    return all;
}

/// The names of the markers in a source. One whose name can't be read is given as "?".
std::vector<std::string> markersOf(const std::string& source) {
    const std::regex marker("\\bOddity\\b( ([a-z0-9]+(-[a-z0-9]+)*):[ \n])?");
    std::vector<std::string> names;
    for (std::sregex_iterator found(source.begin(), source.end(), marker); found != std::sregex_iterator();
         ++found)
        names.push_back((*found)[2].matched ? (*found)[2].str() : "?");
    return names;
}

std::vector<std::string> productSources() {
    std::vector<std::string> files;
    for (const std::string& root : sourceRoots) {
        const std::vector<std::string> below = sourcesBelow(root);
        files.insert(files.end(), below.begin(), below.end());
    }
    return files;
}

/// The markers of the product by name, with a source of each.
const std::map<std::string, std::string>& markers() {
    static const std::map<std::string, std::string> all = [] {
        std::map<std::string, std::string> found;
        for (const std::string& file : productSources()) {
            for (const std::string& name : markersOf(readText(inTree(file))))
                found[name] = file;
        }
        return found;
    }();
    return all;
}

std::set<std::string> entryNames() {
    std::set<std::string> names;
    for (const Entry& entry : entries())
        names.insert(entry.name);
    return names;
}

} // namespace

TEST(Oddities, EachMarkerOfTheProductHasItsEntry) {
    EXPECT_GT(markers().size(), 40U) << "The scan hardly saw a marker";
    for (const auto& [name, file] : markers())
        EXPECT_TRUE(entryNames().contains(name))
            << file << " marks " << name << ", which docs/oddities.md lacks";
}

TEST(Oddities, EachEntryHasAMarkerInTheProduct) {
    for (const Entry& entry : entries())
        EXPECT_TRUE(markers().contains(entry.name)) << "No source has the marker of " << entry.name;
}

TEST(Oddities, StandOnceAndInTheOrderOfTheirNamesWithinASection) {
    EXPECT_EQ(entryNames().size(), entries().size()) << "docs/oddities.md has an entry twice";
    for (size_t i = 1; i < entries().size(); ++i) {
        const Entry& before = entries()[i - 1];
        const Entry& entry = entries()[i];
        if (entry.section == before.section) {
            EXPECT_LT(before.name, entry.name) << "in \"" << entry.section << "\"";
        }
    }
}

TEST(Oddities, SayWhoSeesEachAndWhatBreaksIfItIsMended) {
    const std::regex form("\n[^\n]+\n([^\n]+\n)*\n- \\*\\*Seen by:\\*\\* [^\n]+\n(  [^\n]+\n)*"
                          "- \\*\\*If mended:\\*\\* [^\n]+\n(  [^\n]+\n)*\n*");
    for (const Entry& entry : entries())
        EXPECT_TRUE(std::regex_match(entry.text, form)) << entry.name << " has" << entry.text;
}

TEST(Oddities, AreMarkedByNameAndInNoOtherWords) {
    for (const std::string& file : productSources()) {
        for (const std::string& comment : commentsOf(readText(inTree(file))))
            EXPECT_EQ(comment.find("deliberate"), std::string::npos) << file << ": " << comment;
    }
}

TEST(Oddities, AreLinkedByNamesThatThereAre) {
    const std::regex link("oddities\\.md#([a-z0-9-]+)");
    size_t checked = 0;
    for (const char* page :
         {"docs/protocol.md", "docs/presets.md", "docs/architecture.md", "docs/developing.md"}) {
        const std::string text = readText(inTree(page));
        for (std::sregex_iterator found(text.begin(), text.end(), link); found != std::sregex_iterator();
             ++found) {
            EXPECT_TRUE(entryNames().contains((*found)[1].str())) << page << " links " << found->str();
            ++checked;
        }
    }
    EXPECT_GT(checked, 8U);
}

TEST(OddityMarkers, AreReadWithTheirNames) {
    EXPECT_EQ(markersOf("// Oddity a-name-2: what.\n    /// The text. Oddity other: what\n"),
              (std::vector<std::string>{"a-name-2", "other"}));
    EXPECT_EQ(markersOf("// Oddity\n// broken-by-a-line: what. Oddity Upper: what. Oddity no-colon what\n"),
              (std::vector<std::string>{"?", "?", "?"}));
    EXPECT_EQ(markersOf("// Oddities and oddity-like things\n"), std::vector<std::string>());
}
