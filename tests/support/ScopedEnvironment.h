#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace test_support {

/// Gives an environment variable another value for a scope, or none with null.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value) : name(name) {
        if (const char* before = std::getenv(name))
            former = before;
        set(value);
    }
    ~ScopedEnvironment() { set(former ? former->c_str() : nullptr); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    void set(const char* value) const {
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }

    const char* name;
    std::optional<std::string> former;
};

} // namespace test_support
