// Plays plug-ins live, as a client of the JACK server.

#include "Options.h"
#include "Player.h"
#include "Terminal.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

constexpr int wrongUsage = 2;

/// Before there is any other thread, which would take them.
void blockSignals() {
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
        sigaddset(&awaited, signal);
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
}

int print(const std::string& text) {
    return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    Terminal terminal;
    try {
        const Options options = readOptions(argc, argv);
        if (options.showHelp)
            return print(usageText);
        if (options.showVersion)
            return print("plugin-host-live " + std::string(plugin_host::version()) + "\n");
        blockSignals();
        Player player(options, terminal);
        return player.run();
    } catch (const UsageError& error) {
        terminal.report(error.what());
        std::fputs("Try plugin-host-live --help\n", stderr);
        return wrongUsage;
    } catch (const std::exception& exception) {
        terminal.report(exception.what());
        return EXIT_FAILURE;
    }
}
