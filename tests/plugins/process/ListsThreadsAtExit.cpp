// An effect whose file writes, as the process exits, which thread of a pipe is still there.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <unistd.h>

namespace {

constexpr int tries = 200; // of ten milliseconds

/// Whether a thread serves a pipe; its name, with a line feed, is put into `name`.
bool findPipeThread(char (&name)[32]) {
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr)
        return false;
    bool found = false;
    while (const dirent* task = found ? nullptr : readdir(tasks)) {
        char path[300];
        std::snprintf(path, sizeof path, "/proc/self/task/%s/comm", task->d_name);
        std::FILE* file = std::fopen(path, "re");
        if (file == nullptr)
            continue;
        found = std::fgets(name, sizeof name, file) != nullptr && std::strncmp(name, "Remote", 6) == 0;
        std::fclose(file);
    }
    closedir(tasks);
    return found;
}

// A thread that has been joined is in the list of the system for a moment longer.
__attribute__((destructor)) void listThreads() {
    char name[32];
    bool found = findPipeThread(name);
    for (int i = 0; found && i < tries; ++i) {
        usleep(10000);
        found = findPipeThread(name);
    }
    std::fprintf(stderr, "At the exit: %s", found ? name : "none\n");
}

class ListsThreadsAtExit : public Vst2Effect {
public:
    explicit ListsThreadsAtExit(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x4C546845, .name = "Lists Threads"}) {}

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, 0.0F);
    }
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ListsThreadsAtExit(host))->getEffect();
}
