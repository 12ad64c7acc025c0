#pragma once

#include "core/Object.h"

#include <cstdint>

namespace base::core {

/// What a failed assertion does.
enum class AssertionMode : int32_t {
    /// Reports, and goes on.
    noDialog = 0,
    /// Opens its dialog if a debugger is attached or the environment asks for it, and else only reports.
    dialogIfInteractive = 1,
    /// Opens its dialog.
    dialog = 2,
};

/// Sets the mode of all threads for a scope. Scopes lie on one stack for the whole process, and the one that
/// was entered last decides; they may be left in any order and on any thread.
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
