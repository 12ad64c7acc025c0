#include "core/Environment.h"

#include <cstdlib>

namespace base::core {

String getEnvironmentVariable(const char* name, bool* found) {
    const char* value = std::getenv(name);
    if (found != nullptr)
        *found = value != nullptr;
    return value;
}

} // namespace base::core
