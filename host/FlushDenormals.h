#pragma once

#include "core/Object.h"

#include <xmmintrin.h>

/// Flushes denormals to zero and rounds to nearest for a scope of the calling thread, with all floating-point
/// exceptions masked: the mode that plug-ins render in.
class FlushDenormals : public base::core::NonCopyable, public base::core::NonMovable {
public:
    FlushDenormals() : saved(_mm_getcsr()) { _mm_setcsr((saved | 0x9FC0U) & 0xFFFF9FFFU); }
    ~FlushDenormals() { _mm_setcsr(saved); }

private:
    unsigned int saved;
};
