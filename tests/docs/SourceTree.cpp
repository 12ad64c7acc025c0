#include "docs/SourceTree.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace {

bool isSource(const std::string& file) {
    return isHeader(file) || file.ends_with(".cpp") || file.ends_with(".c");
}

/// Where a line's comment begins, outside of texts; `npos` without one.
size_t commentStart(const std::string& line) {
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\\')
            ++i;
        else if (line[i] == '"' && !(i > 0 && line[i - 1] == '\''))
            quoted = !quoted;
        else if (!quoted && line.compare(i, 2, "//") == 0)
            return i;
    }
    return std::string::npos;
}

void appendWords(std::string& comment, const std::string& line) {
    std::istringstream words(line.substr(line.find_first_not_of('/')));
    for (std::string word; words >> word;) {
        std::transform(word.begin(), word.end(), word.begin(),
                       [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
        comment += (comment.empty() ? "" : " ") + word;
    }
}

} // namespace

const std::vector<std::string> sourceRoots = {"core",   "lib",    "vst2",    "vst3",  "host",
                                              "window", "client", "library", "local", "app"};

fs::path inTree(const std::string& path) {
    return fs::path(SOURCE_DIRECTORY) / path;
}

std::string readText(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isHeader(const std::string& file) {
    return file.ends_with(".h");
}

std::vector<std::string> sourcesBelow(const std::string& folder) {
    std::vector<std::string> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(inTree(folder))) {
        const std::string file = entry.path().lexically_relative(SOURCE_DIRECTORY).string();
        if (entry.is_regular_file() && isSource(file))
            files.push_back(file);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> commentsOf(const std::string& text) {
    std::vector<std::string> comments;
    std::istringstream lines(text);
    bool continues = false;
    for (std::string line; std::getline(lines, line);) {
        const size_t start = commentStart(line);
        const bool isWhole = start != std::string::npos && line.find_first_not_of(' ') == start;
        if (start != std::string::npos) {
            if (!isWhole || !continues)
                comments.emplace_back();
            appendWords(comments.back(), line.substr(start) + " ");
        }
        continues = isWhole;
    }
    return comments;
}
