#pragma once

#include "core/Object.h"

#include <cstdint>

namespace base::core {

/// What a failed assertion does.
enum class AssertionMode : int32_t {
    /// Logs, and continues.
    noDialog = 0,
    /// Opens the dialog if a debugger is attached or the environment asks for it; logs otherwise.
    dialogIfInteractive = 1,
    /// Opens the dialog.
    dialog = 2,
};

/// Sets the mode of all threads for a scope. The process has one stack of scopes; the last one entered
/// applies. Scopes may be left in any order and on any thread.
class ScopedAssertionMode : public NonCopyable, public NonMovable {
public:
    explicit ScopedAssertionMode(AssertionMode mode);
    ~ScopedAssertionMode();

    /// The mode that is in force. Any thread.
    static AssertionMode current();

private:
    AssertionMode mode;
    ScopedAssertionMode* below;
};

} // namespace base::core
