// The entry of every test program: gives the process a `USER` of its own, so that its FIFOs and shared memory
// meet nobody else's, and removes the directory of its FIFOs at the end. What a sanitizer reports in a child
// fails the test.

#include "support/SanitizerReports.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    const std::string user = "plugin-host-test-" + std::to_string(getpid());
    setenv("USER", user.c_str(), 1);
    // A program that had this number and was killed may have left some.
    std::error_code ignored;
    std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
    testing::InitGoogleTest(&argc, argv);
    test_support::SanitizerReports::collect();
    int result = RUN_ALL_TESTS();
    if (const std::string reports = test_support::SanitizerReports::takeLast(); !reports.empty()) {
        std::cerr << "A child has reported behind the last test:\n" << reports;
        result = EXIT_FAILURE;
    }
    std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
    return result;
}
