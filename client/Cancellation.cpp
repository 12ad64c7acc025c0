#include "client/Cancellation.h"

#include "core/FileDescriptor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

Cancellation::Cancellation() : descriptor(base::core::aboveConsole(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
    if (descriptor < 0)
        throw IOException(concat("Could not make an event descriptor: ", base::core::lastErrorMessage()));
}

Cancellation::~Cancellation() {
    close(descriptor);
}

// Fails only if the counter is full, which is readable as well.
void Cancellation::cancel() const {
    if (!makingProcess.isCopied())
        eventfd_write(descriptor, 1);
}

bool Cancellation::isCancelled() const {
    pollfd event{descriptor, POLLIN, 0};
    return poll(&event, 1, 0) > 0;
}
