// The entry of every test program: gives the process a `USER` of its own, so that its FIFOs and shared memory
// meet nobody else's, and removes the directory of its FIFOs at the end.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const std::string user = "plugin-host-test-" + std::to_string(getpid());
    setenv("USER", user.c_str(), 1);
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
    return result;
}
