#pragma once

#include "core/ScopedEnvironment.h"

#include <cstdlib>
#include <string>

/// Lets children of a sanitizer's build die as others do, for a scope.
class RealDeaths {
    static std::string withOptions(const char* variable, const std::string& options) {
        const char* before = std::getenv(variable);
        return before != nullptr ? before + (":" + options) : options;
    }

    base::core::ScopedEnvironment address{
        "ASAN_OPTIONS", withOptions("ASAN_OPTIONS", "handle_segv=0:handle_abort=0:detect_leaks=0").c_str()};
    base::core::ScopedEnvironment thread{
        "TSAN_OPTIONS", withOptions("TSAN_OPTIONS", "handle_segv=0:handle_abort=0:"
                                                    "report_thread_leaks=0:atexit_sleep_ms=0")
                            .c_str()};
};
