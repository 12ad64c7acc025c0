#pragma once

#include <fstream>
#include <iterator>
#include <string>

/// What each report begins with.
inline std::string header(const std::string& path) {
    return "Printing plug-in meta data for " + path + " ...\n\n";
}

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
