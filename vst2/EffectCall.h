#pragma once

#include "plugin/CoreNames.h"
#include "vst2/Vst24.h"

#include <cstdint>

/// The scope of a call into an effect, on any thread. What the host throws while the effect calls back must
/// not unwind the effect's frames, which may be another language's: the callback keeps it and answers 0, and
/// `finish` throws it once the effect has returned. Allocates nothing.
class EffectCall : public NonCopyable, public NonMovable {
public:
    EffectCall() { ++depth; }
    ~EffectCall() {
        if (--depth == 0 && hasKept)
            drop();
    }

    /// Behind the call. Throws what the callback kept meanwhile.
    void finish() {
        if (hasKept) [[unlikely]]
            throwKept();
    }

    /// In a handler of the callback: keeps the exception that is being handled. Ends the process on a thread
    /// that no call of the host's is on, where nothing could catch it.
    static void keepException() noexcept;

private:
    static void throwKept();
    /// The effect threw besides, and that has gone past `finish`.
    static void drop() noexcept;

    static constinit thread_local int32_t depth;
    static constinit thread_local bool hasKept;
};

/// One call of the dispatcher.
inline VstIntPtr callDispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0,
                                void* ptr = nullptr, float opt = 0.0F) {
    EffectCall call;
    const VstIntPtr answer = effect->dispatcher(effect, opcode, index, value, ptr, opt);
    call.finish();
    return answer;
}

inline float callGetParameter(AEffect* effect, VstInt32 index) {
    EffectCall call;
    const float value = effect->getParameter(effect, index);
    call.finish();
    return value;
}

inline void callSetParameter(AEffect* effect, VstInt32 index, float value) {
    EffectCall call;
    effect->setParameter(effect, index, value);
    call.finish();
}
