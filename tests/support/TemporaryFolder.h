#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// A folder of the test's own, which goes with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        if (mkdtemp(path.data()) == nullptr)
            throw std::runtime_error("No folder for the test's files");
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string file(const std::string& name) const { return path + "/" + name; }

    static void write(const std::string& file, const std::string& bytes) {
        // A file system may wait for the disk where an older file is cut.
        std::filesystem::remove(file);
        std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    static std::string read(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

private:
    std::string path = std::filesystem::temp_directory_path() / "plugin-host-test-XXXXXX";
};
