// docs/architecture.md is what a maintainer trusts: if these fail, it names folders, files or operations that
// aren't there, or the tree has an include that points upwards.

#include "docs/MarkdownDocument.h"
#include "docs/SourceTree.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Row = DocumentTable::Row;

const MarkdownDocument& architecture() {
    static const MarkdownDocument document("docs/architecture.md");
    return document;
}

std::set<std::string> splitList(const std::string& text) {
    std::set<std::string> items;
    std::istringstream stream(text);
    for (std::string item; stream >> item;) {
        std::erase(item, ',');
        items.insert(item);
    }
    return items;
}

/// The quoted includes of a text that name a folder.
std::vector<std::string> includesOf(const std::string& text) {
    std::vector<std::string> includes;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        std::string directive;
        std::string name;
        words >> directive >> name;
        if (directive == "#" && name == "include") {
            directive = "#include";
            words >> name;
        }
        if (directive == "#include" && name.size() > 2 && name.front() == '"' &&
            name.find('/') != std::string::npos)
            includes.push_back(name.substr(1, name.rfind('"') - 1));
    }
    return includes;
}

/// A source of the tree with all that it includes of the tree, directly or not.
std::set<std::string> includedBy(const std::string& source) {
    std::set<std::string> included{source};
    std::vector<std::string> toRead{source};
    while (!toRead.empty()) {
        const std::string file = toRead.back();
        toRead.pop_back();
        for (const std::string& include : includesOf(readText(inTree(file)))) {
            const bool isPlugin = include.starts_with("plugin/");
            const std::string found = isPlugin ? "lib/src/main/include/" + include : include;
            if (included.insert(found).second)
                toRead.push_back(found);
        }
    }
    return included;
}

/// The rules of the document.
class IncludeRules {
public:
    IncludeRules() {
        for (const Row& row : architecture()
                                  .table("Source folders", "Folder")
                                  .select({"Folder", "Included as", "May include"})) {
            Folder& folder = folders[row[0]];
            folder.mayInclude = splitList(row[2]);
            if (!row[1].empty()) {
                names.insert(row[1]);
                folder.mayInclude.insert(row[1]);
            }
        }
    }

    /// What is wrong with an include, or nothing.
    std::string complaint(const std::string& file, const std::string& include) const {
        const std::string target = include.substr(0, include.find('/'));
        if (!names.contains(target))
            return file + " includes \"" + include + "\" of a folder that the document doesn't list";
        const auto folder = std::find_if(folders.begin(), folders.end(), [&](const auto& entry) {
            return file.starts_with(entry.first + "/");
        });
        if (folder == folders.end())
            return file + " lies in a folder that the document doesn't list";
        return folder->second.mayInclude.contains(target)
                   ? ""
                   : file + " includes \"" + include + "\", which points upwards";
    }

private:
    struct Folder {
        std::set<std::string> mayInclude;
    };

    std::map<std::string, Folder> folders;
    std::set<std::string> names;
};

std::set<std::string> wordsOfTheSources() {
    std::set<std::string> words;
    for (const std::string& root : sourceRoots) {
        for (const std::string& file : sourcesBelow(root)) {
            std::string word;
            for (const char character : readText(inTree(file)) + " ") {
                if (std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_')
                    word += character;
                else
                    words.insert(std::exchange(word, {}));
            }
        }
    }
    return words;
}

/// What a document has between backquotes, outside of fenced blocks.
std::set<std::string> quotedNames(const MarkdownDocument& document) {
    std::set<std::string> quoted;
    std::istringstream parts(document.getText());
    bool inside = false;
    for (std::string part; std::getline(parts, part, '`'); inside = !inside) {
        if (inside)
            quoted.insert(part);
    }
    return quoted;
}

bool isName(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char character) {
        return std::isalnum(character) != 0 || character == '_' || character == ':';
    });
}

bool isPath(const std::string& text) {
    return text.find('/') != std::string::npos && text.front() != '/' && text.find(' ') == std::string::npos;
}

std::vector<std::string> unknownParts(const std::string& name, const std::set<std::string>& words) {
    std::vector<std::string> unknown;
    std::istringstream parts(name);
    for (std::string part; std::getline(parts, part, ':');) {
        if (!part.empty() && !words.contains(part))
            unknown.push_back(part);
    }
    return unknown;
}

} // namespace

TEST(ArchitectureDocument, ListsFoldersThatExist) {
    for (const char* heading : {"Source folders", "Other folders"}) {
        for (const Row& row : architecture().table(heading, "Folder").select({"Folder"}))
            EXPECT_TRUE(fs::is_directory(inTree(row[0])))
                << "The table under \"" << heading << "\" has the folder " << row[0]
                << " that the tree doesn't have";
    }
}

TEST(ArchitectureDocument, ListsTheFolderOfEachSource) {
    std::set<std::string> listed;
    for (const Row& row : architecture().table("Source folders", "Folder").select({"Folder"}))
        listed.insert(row[0]);
    for (const std::string& root : sourceRoots) {
        for (const std::string& file : sourcesBelow(root))
            EXPECT_TRUE(
                std::any_of(listed.begin(), listed.end(),
                            [&](const std::string& folder) { return file.starts_with(folder + "/"); }))
                << "The table under \"Source folders\" lacks the folder of " << file;
    }
}

TEST(ArchitectureDocument, GivesTheDirectionThatEveryIncludeObeys) {
    const IncludeRules rules;
    size_t seen = 0;
    for (const std::string& root : sourceRoots) {
        for (const std::string& file : sourcesBelow(root)) {
            for (const std::string& include : includesOf(readText(inTree(file)))) {
                const std::string complaint = rules.complaint(file, include);
                EXPECT_TRUE(complaint.empty()) << complaint;
                ++seen;
            }
        }
    }
    EXPECT_GT(seen, 100u) << "The scan hardly saw an include";
}

TEST(ArchitectureDocument, IsRightThatWhatAWorkerTouchesHasNoWayToTheInstance) {
    for (const char* source : {"vst2/Vst2Block.cpp", "vst3/Vst3Block.cpp"}) {
        const std::set<std::string> included = includedBy(source);
        EXPECT_TRUE(included.contains("lib/src/main/include/plugin/InstanceAudio.h")) << source;
        for (const char* mainThread :
             {"lib/src/main/include/plugin/PluginInstance.h", "lib/src/main/include/plugin/PluginWindow.h",
              "lib/src/main/include/plugin/PluginHostContext.h", "vst2/Vst2PluginInstance.h",
              "vst3/Vst3PluginInstance.h"})
            EXPECT_FALSE(included.contains(mainThread)) << source << " comes to include " << mainThread;
    }
}

TEST(ArchitectureDocument, NamesClassesOperationsAndFilesThatExistAsTheOneForBeginnersDoes) {
    const std::set<std::string> words = wordsOfTheSources();
    for (const char* name : {"docs/architecture.md", "docs/developing.md"}) {
        size_t checked = 0;
        for (const std::string& quoted : quotedNames(MarkdownDocument(name))) {
            const bool isBuilt = quoted.starts_with("build/");
            if (isPath(quoted) && !isBuilt) {
                EXPECT_TRUE(fs::exists(inTree(quoted))) << "The tree doesn't have " << quoted;
                ++checked;
            } else if (isName(quoted) && !fs::exists(inTree(quoted))) {
                for (const std::string& part : unknownParts(quoted, words))
                    ADD_FAILURE() << name << " speaks of " << quoted << ", and no source has " << part;
                ++checked;
            }
        }
        EXPECT_GT(checked, 30u) << "The scan hardly saw a name";
    }
}

TEST(DevelopingDocument, FiltersTestsThatExist) {
    std::string tests;
    for (const std::string& file : sourcesBelow("tests"))
        tests += readText(inTree(file));
    const std::string text = readText(inTree("docs/developing.md"));
    const std::regex filter("(?:-R '[a-z0-9-]+\\.|--gtest_filter=')(\\w+)");
    size_t seen = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), filter), end; match != end; ++match, ++seen) {
        const std::regex suite("TEST(_[FP])?\\(" + (*match)[1].str());
        EXPECT_TRUE(std::regex_search(tests, suite)) << "No test has " << match->str();
    }
    EXPECT_EQ(seen, 2u);
}

TEST(IncludeRules, ComplainOfIncludesThatPointUpwardsSidewardsOrNowhere) {
    const IncludeRules rules;
    EXPECT_EQ(rules.complaint("core/String.cpp", "plugin/Plugin.h"),
              "core/String.cpp includes \"plugin/Plugin.h\", which points upwards");
    EXPECT_EQ(rules.complaint("client/PluginHostProxy.cpp", "host/PluginHost.h"),
              "client/PluginHostProxy.cpp includes \"host/PluginHost.h\", which points upwards");
    EXPECT_EQ(rules.complaint("vst2/Vst2Plugin.cpp", "plugin/InstanceTable.h"), "");
    EXPECT_EQ(rules.complaint("vst2/Vst2Plugin.cpp", "host/PluginHost.h"),
              "vst2/Vst2Plugin.cpp includes \"host/PluginHost.h\", which points upwards");
    EXPECT_EQ(rules.complaint("app/main.cpp", "elsewhere/Thing.h"),
              "app/main.cpp includes \"elsewhere/Thing.h\" of a folder that the document doesn't list");
    EXPECT_EQ(rules.complaint("elsewhere/Thing.cpp", "core/String.h"),
              "elsewhere/Thing.cpp lies in a folder that the document doesn't list");
}

TEST(IncludeRules, SeeQuotedIncludesThatNameAFolder) {
    EXPECT_EQ(includesOf("#include \"core/String.h\"\n#  include \"host/PluginHost.h\" // why\n"
                         "# include \"plugin/Plugin.h\"\n#include <xcb/xcb.h>\n#include \"Beside.h\"\n"),
              (std::vector<std::string>{"core/String.h", "host/PluginHost.h", "plugin/Plugin.h"}));
}
