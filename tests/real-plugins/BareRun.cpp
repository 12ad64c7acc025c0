#include "real-plugins/BareRun.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <unistd.h>

namespace bare {

using score::blockSize;

const char* volatile stage = "start";

namespace {

constexpr unsigned secondsAllowed = 120;
constexpr std::size_t guardFrames = 256;
constexpr unsigned char guardByte = 0xA5;

volatile std::sig_atomic_t finished = 0;

void writeText(const char* text) {
    if (write(STDOUT_FILENO, text, std::strlen(text)) < 0) {
        _exit(EXIT_FAILURE);
    }
}

void onSignal(int signal) {
    writeText("failed in ");
    writeText(stage);
    switch (signal) {
    case SIGALRM:
        writeText(": did not end in time\n");
        break;
    case SIGABRT:
        writeText(": aborted\n");
        break;
    case SIGFPE:
        writeText(": arithmetic fault\n");
        break;
    case SIGILL:
        writeText(": illegal instruction\n");
        break;
    default:
        writeText(": memory fault\n");
        break;
    }
    _exit(EXIT_FAILURE);
}

void onExit() {
    if (finished == 0) {
        fail("the plug-in ended the process");
    }
}

/// As "0,7", or "-" for none.
std::string listOf(const std::vector<std::int32_t>& indices) {
    std::string list;
    for (const std::int32_t index : indices) {
        list += (list.empty() ? "" : ",") + std::to_string(index);
    }
    return list.empty() ? "-" : list;
}

} // namespace

[[noreturn]] void fail(const char* what) {
    finished = 1;
    std::printf("failed in %s: %s\n", stage, what);
    std::fflush(stdout);
    // Neither the plug-in nor its libraries get another chance to crash.
    _exit(EXIT_FAILURE);
}

Channels::Channels(std::int32_t count)
    : storage(static_cast<std::size_t>(count)), pointers(static_cast<std::size_t>(count)) {
    for (std::size_t channel = 0; channel < storage.size(); ++channel) {
        storage[channel].resize(guardFrames + blockSize + guardFrames);
        std::memset(storage[channel].data(), guardByte, storage[channel].size() * sizeof(float));
        pointers[channel] = storage[channel].data() + guardFrames;
    }
}

void Channels::check(const char* broken) const {
    for (const std::vector<float>& channel : storage) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(channel.data());
        constexpr std::size_t guard = guardFrames * sizeof(float);
        for (std::size_t byte = 0; byte < guard; ++byte) {
            if (bytes[byte] != guardByte || bytes[channel.size() * sizeof(float) - 1 - byte] != guardByte) {
                fail(broken);
            }
        }
    }
}

float Channels::peak() const {
    float largest = 0.0F;
    for (const float* channel : pointers) {
        for (std::int32_t frame = 0; frame < blockSize; ++frame) {
            if (std::isnan(channel[frame])) {
                fail("NaN in the output");
            }
            if (std::isinf(channel[frame])) {
                fail("infinity in the output");
            }
            largest = std::max(largest, std::fabs(channel[frame]));
        }
    }
    return largest;
}

std::vector<std::int32_t> findLost(const std::vector<float>& before, const std::vector<float>& after) {
    constexpr float tolerance = 1e-6F;
    std::vector<std::int32_t> lost;
    for (std::size_t index = 0; index < before.size(); ++index) {
        if (!(std::fabs(after.at(index) - before[index]) <= tolerance)) {
            lost.push_back(static_cast<std::int32_t>(index));
        }
    }
    return lost;
}

int run(int argc, char* argv[], Findings (*play)(const char* file, Task task)) {
    const std::string_view option = argc == 3 ? argv[1] : "";
    const Task task = option == "--vary"     ? Task::varyParameters
                      : option == "--preset" ? Task::restoreState
                      : option == "--editor" ? Task::openEditor
                                             : Task::none;
    if (argc != (task != Task::none ? 3 : 2)) {
        std::fprintf(stderr, "Usage: %s [--vary|--preset|--editor] FILE\n", argv[0]);
        return 2;
    }
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGALRM}) {
        std::signal(signal, onSignal);
    }
    std::atexit(onExit);
    alarm(secondsAllowed);
    const Findings found = play(argv[argc - 1], task);
    finished = 1;
    std::printf("ok entry=%s inputs=%d outputs=%d parameters=%d programs=%d synth=%d peak=%.6f lost=%s\n",
                found.entry, static_cast<int>(found.inputs), static_cast<int>(found.outputs),
                static_cast<int>(found.parameters), static_cast<int>(found.programs),
                found.isInstrument ? 1 : 0, static_cast<double>(found.peak), listOf(found.lost).c_str());
    std::fflush(stdout);
    // Not by way of exit: what a plug-in's libraries do there is no concern of anyone's here.
    _exit(EXIT_SUCCESS);
}

} // namespace bare
