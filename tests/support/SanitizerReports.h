#pragma once

#include <string>

namespace test_support {

/// What sanitizers report in processes that tests start: their output may be discarded and their status
/// replaced, so they write into files of this test process, and each report fails the test that it is found
/// behind. Not so those of UndefinedBehaviorSanitizer beside AddressSanitizer, which come on the standard
/// error stream of the child. Reports of the test process itself stay on its standard error stream and in its
/// status. In builds without sanitizers there are none.
class SanitizerReports {
public:
    /// Children that are started from here on write into files, and tests fail by these.
    static void collect();

    /// The text of the reports since the last call. Removes their files.
    static std::string take();

    /// At the end of the process: reports that came behind the last test, and the directory.
    static std::string takeLast();
};

} // namespace test_support
