#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace test_support {

/// A directory of the test's own, gone with it.
class TestDirectory {
public:
    TestDirectory() {
        std::string name = "/tmp/plugin-host-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("mkdtemp: " + std::string(std::strerror(errno)));
        path = name;
    }
    ~TestDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    std::string operator/(const std::string& name) const { return path + "/" + name; }

    std::string path;
};

} // namespace test_support
