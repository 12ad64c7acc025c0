#pragma once

#include "core/InputStream.h"
#include "core/NamedPipe.h"
#include "support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace core_tests {

/// A user of the test's own, whose pipes go with the test.
class NamedPipeTest : public testing::Test {
protected:
    NamedPipeTest()
        : user("plugin-host-pipe-test-" + std::to_string(getpid())), environment("USER", user.c_str()),
          directory("/tmp/pipes-" + user) {}
    ~NamedPipeTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    std::string path(const std::string& file) const { return directory + "/" + file; }

    /// Both ends of the pipe, opened against each other. The opener's is the second.
    struct Ends {
        base::core::Ref<base::core::NamedServerPipe> server;
        base::core::Ref<base::core::NamedPipe> creator;
        base::core::Ref<base::core::NamedPipe> opener;
    };
    static Ends connect(const char* name, bool duplex) {
        Ends ends;
        ends.server = base::core::NamedServerPipe::create(name, duplex);
        std::thread opener([&] { ends.opener = base::core::NamedPipe::open(name, duplex); });
        ends.creator = ends.server->open();
        opener.join();
        return ends;
    }

    static bool isFifo(const std::string& path) {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
    }

    /// The open descriptors of this process on a path.
    static std::vector<int> descriptorsOn(const std::string& path) {
        std::vector<int> descriptors;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code ignored;
            if (std::filesystem::read_symlink(entry.path(), ignored) == path)
                descriptors.push_back(std::stoi(entry.path().filename()));
        }
        return descriptors;
    }

    static std::string readOnce(base::core::InputStream& stream, size_t size) {
        std::string text(size, '\0');
        text.resize(stream.read(text.data(), size));
        return text;
    }

    const std::string user;
    const test_support::ScopedEnvironment environment;
    const std::string directory;
};

} // namespace core_tests
