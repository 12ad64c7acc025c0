// If these fail, what a sanitizer finds in a host is lost, and the sanitizers' builds pass with any error of
// a host in them.

#include "process/ProcessTest.h"

#include "support/SanitizerReports.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>

using namespace test_support;

namespace {

enum Error { none = 0, leak = 1, race = 2, overflow = 3, useAfterFree = 4 };

constexpr const char* errorVariable = "ERROR_OF_THE_HOST";

/// Leaves the host's end to the client's.
void runHostThatErrs(Error error) {
    RawClient client;
    createInstance(client, 1, TEST_PLUGIN_DIRECTORY "/errs-when-asked.so");
    client.send(setProgramFrame(1, error));
    client.waitUntilTaken();
}

// The tests below run this one with an error, so that it fails.
TEST(SanitizedHost, WithoutAnErrorEndsWithItsClientAndReportsNothing) {
    const char* error = getenv(errorVariable);
    runHostThatErrs(error != nullptr ? static_cast<Error>(std::atoi(error)) : none);
}

std::string outputOfFailingTest(Error error) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string command = std::string(errorVariable) + "=" + std::to_string(error) + " exec '" +
                                program + "' 2>&1 --gtest_filter=SanitizedHost.WithoutAnError*";
    FILE* output = popen(command.c_str(), "r");
    std::string text;
    char part[4096];
    size_t count = 0;
    while ((count = fread(part, 1, sizeof part, output)) > 0)
        text.append(part, count);
    const int status = pclose(output);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_FAILURE) << status << "\n" << text;
    return text;
}

#ifdef __SANITIZE_ADDRESS__

TEST(SanitizedHost, WhoseEndShowsALeakFailsItsTest) {
    const std::string output = outputOfFailingTest(leak);
    EXPECT_NE(output.find("a child has reported:"), std::string::npos) << output;
    EXPECT_NE(output.find("4000 byte(s) leaked in 1 allocation"), std::string::npos) << output;
}

TEST(SanitizedHost, ThatOverflowsAnIntegerFailsItsTest) {
    const std::string output = outputOfFailingTest(overflow);
    EXPECT_NE(output.find("signed integer overflow: 2147483647 + 1"), std::string::npos) << output;
}

TEST(SanitizedHost, ThatUsesFreedMemoryLeavesAReport) {
    runHostThatErrs(useAfterFree);
    const std::string reports = SanitizerReports::take();
    EXPECT_NE(reports.find("AddressSanitizer: heap-use-after-free"), std::string::npos) << reports;
    EXPECT_EQ(SanitizerReports::take(), "");
}

#endif

#ifdef __SANITIZE_THREAD__

TEST(SanitizedHost, WithARaceFailsItsTest) {
    const std::string output = outputOfFailingTest(race);
    EXPECT_NE(output.find("a child has reported:"), std::string::npos) << output;
    EXPECT_NE(output.find("ThreadSanitizer: data race"), std::string::npos) << output;
}

#endif

} // namespace
