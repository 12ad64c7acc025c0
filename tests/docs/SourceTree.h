#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The folders of the product's sources.
extern const std::vector<std::string> sourceRoots;

/// A path of the tree.
std::filesystem::path inTree(const std::string& path);

/// The content of a file; empty if there is none.
std::string readText(const std::filesystem::path& path);

bool isHeader(const std::string& file);

/// The sources and headers of the tree below a folder, as paths from its root.
std::vector<std::string> sourcesBelow(const std::string& folder);

/// The comments of a C++ text, in lower case. Lines that follow each other are one comment; blanks and line
/// ends within it are single blanks.
std::vector<std::string> commentsOf(const std::string& text);
