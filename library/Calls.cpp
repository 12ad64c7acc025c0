#include "library/Calls.h"

namespace client_library {

plugin_host_status answerWork(const Work& work) noexcept {
    const plugin_host_status status = answer([&] {
        const HandleUse use(work.kind, work.handle);
        if (use.get() == nullptr)
            throw Failure(PLUGIN_HOST_INVALID_HANDLE,
                          "The handle is null, was destroyed, or is of another kind");
        const base::core::ScopedLogReceiver log(work.log(*use.get()));
        work.run(*use.get(), work.body);
    });
    releaseUnusedHandles();
    return status;
}

} // namespace client_library
