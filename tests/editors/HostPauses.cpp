#include "editors/HostPauses.h"

#include <atomic>
#include <utility>

namespace {

std::atomic<HostPauses*> inForce{nullptr};

} // namespace

HostPauses::HostPauses(std::function<void(size_t count)> onPause) : onPause(std::move(onPause)) {
    inForce = this;
}

HostPauses::~HostPauses() {
    inForce = nullptr;
}

void HostPauses::add(useconds_t length) {
    lengths.push_back(length);
    if (onPause)
        onPause(lengths.size());
}

extern "C" {

int __real_usleep(useconds_t length);
int __wrap_usleep(useconds_t length) {
    HostPauses* pauses = inForce;
    if (pauses == nullptr)
        return __real_usleep(length);
    pauses->add(length);
    return 0;
}
}
