#include "core/ChildSignals.h"

namespace base::core {

BlockedSignals::BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
}

BlockedSignals::~BlockedSignals() {
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

void resetSignals() {
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action {};
        // Fails for the signals that the library keeps for itself.
        if (sigaction(signal, nullptr, &action) != 0)
            continue;
        const bool isDefault = action.sa_handler == SIG_DFL;
        const bool isIgnored = action.sa_handler == SIG_IGN;
        if (isDefault || (isIgnored && signal != SIGHUP))
            continue;
        action = {};
        action.sa_handler = SIG_DFL;
        sigaction(signal, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

} // namespace base::core
