#pragma once

#include <cstdint>

enum class ProcessingState : int32_t { created = 0, initialised = 1, processing = 2, terminated = 3 };

/// What `process` says of the blocks to come.
enum ProcessResult : int32_t {
    /// Nothing more will come out until there is new input.
    processSilent = 0,
    processActive = 1,
    /// A tail is still ringing out.
    processTail = 2,
};
