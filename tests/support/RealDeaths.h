#pragma once

#include "support/ScopedEnvironment.h"

#include <cstdlib>
#include <string>

namespace test_support {

/// Lets children of a sanitizer's build die as others do, for a scope.
class RealDeaths {
    static std::string withOptions(const char* variable, const std::string& options) {
        const char* before = std::getenv(variable);
        return before != nullptr ? before + (":" + options) : options;
    }

    ScopedEnvironment address{
        "ASAN_OPTIONS", withOptions("ASAN_OPTIONS", "handle_segv=0:handle_abort=0:detect_leaks=0").c_str()};
    ScopedEnvironment thread{"TSAN_OPTIONS",
                             withOptions("TSAN_OPTIONS", "handle_segv=0:handle_abort=0:"
                                                         "report_thread_leaks=0:atexit_sleep_ms=0")
                                 .c_str()};
};

} // namespace test_support
