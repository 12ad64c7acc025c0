#include "vst2/EffectCall.h"

#include <exception>
#include <utility>

namespace {

thread_local std::exception_ptr kept;

} // namespace

constinit thread_local int32_t EffectCall::depth = 0;
constinit thread_local bool EffectCall::hasKept = false;

void EffectCall::keepException() noexcept {
    if (depth == 0)
        std::terminate();
    kept = std::current_exception();
    hasKept = true;
}

void EffectCall::throwKept() {
    hasKept = false;
    std::rethrow_exception(std::exchange(kept, nullptr));
}

void EffectCall::drop() noexcept {
    hasKept = false;
    kept = nullptr;
}
