#include "support/QuietLaunch.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

int duplicate(int descriptor) {
    return fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
}

} // namespace

QuietLaunch::QuietLaunch() : savedOutput(duplicate(1)), savedError(duplicate(2)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, 1);
    dup2(nowhere, 2);
    close(nowhere);
}

QuietLaunch::~QuietLaunch() {
    dup2(savedOutput, 1);
    dup2(savedError, 2);
    close(savedOutput);
    close(savedError);
}
