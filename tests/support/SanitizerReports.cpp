#include "support/SanitizerReports.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace test_support {
namespace {

namespace fs = std::filesystem;

/// Empty without sanitizers. What lies there after all tests was written by hosts that outlived theirs.
const std::string root = SANITIZER_REPORT_DIRECTORY;

/// Of this process.
std::string directory;

/// Tests ask for sizes that can't be had, and the allocator says so; the search for leaks says so where a
/// thread has ended under its eyes.
bool isFinding(const std::string& line) {
    return !line.empty() && line.find("WARNING: AddressSanitizer failed to allocate ") == std::string::npos &&
           line.find("Unable to get registers from thread ") == std::string::npos;
}

std::string readFindings(const fs::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    std::string line;
    bool found = false;
    while (std::getline(file, line)) {
        text << line << "\n";
        found = found || isFinding(line);
    }
    return found ? text.str() : "";
}

class ReportListener : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo&) override {
        if (const std::string reports = SanitizerReports::take(); !reports.empty())
            ADD_FAILURE() << "a child has reported:\n" << reports;
    }
};

} // namespace

void SanitizerReports::collect() {
    if (root.empty())
        return;
    directory = root + "/" + std::getenv("USER");
    fs::create_directories(directory);
    for (const char* variable : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
        const char* before = std::getenv(variable);
        const std::string own = "log_path=" + directory + "/report";
        setenv(variable, before != nullptr ? (before + (":" + own)).c_str() : own.c_str(), 1);
    }
    // The last one to listen hears of the end of a test first, while it can still fail.
    testing::UnitTest::GetInstance()->listeners().Append(new ReportListener);
}

std::string SanitizerReports::take() {
    std::string reports;
    std::error_code ignored;
    if (directory.empty())
        return reports;
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        reports += readFindings(entry.path());
        fs::remove(entry.path(), ignored);
    }
    return reports;
}

std::string SanitizerReports::takeLast() {
    std::string reports = take();
    std::error_code ignored;
    if (!directory.empty())
        fs::remove(directory, ignored);
    return reports;
}

} // namespace test_support
