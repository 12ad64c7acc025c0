#pragma once

#include <cstdint>

enum class ProcessingState : int32_t { created = 0, initialised = 1, processing = 2, terminated = 3 };

/// The result of `process`, about the following blocks.
enum ProcessResult : int32_t {
    /// Silent until there is new input.
    processSilent = 0,
    processActive = 1,
    /// A tail is still sounding.
    processTail = 2,
};
