#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test_support {

inline void writeFile(const std::string& path, const std::string& bytes) {
    // A file system may wait for the disk where an older file is cut.
    std::filesystem::remove(path);
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace test_support
