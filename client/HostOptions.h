#pragma once

#include "client/RemotePluginHostProxyManager.h"
#include "core/ChildProcess.h"
#include "core/EventDescriptor.h"
#include "plugin/CoreNames.h"

#include <cstdint>
#include <map>
#include <string>

/// What a host is started with.
struct HostOptions {
    static constexpr int32_t defaultSampleRate = 44100;
    static constexpr int32_t defaultBlockSize = 256;

    explicit HostOptions(const String& program) : program(program) {}

    /// Looked up on the `PATH` if it has no slash.
    String program;
    /// In Hz.
    int32_t sampleRate = defaultSampleRate;
    /// In frames.
    int32_t blockSize = defaultBlockSize;
    /// Audio workers, each with a pipe.
    int32_t workerCount = 1;
    /// With `isWatched`: entries that replace or join those of `hostEnvironment`.
    base::core::ChildProcess::Environment environment;
    /// With `isWatched`: descriptors that become the host's standard streams, see `ChildProcess::Program`.
    int32_t output = -1;
    int32_t error = -1;
    /// With `isWatched`: keys that interrupt or stop what is in the foreground of a terminal leave the host
    /// alone.
    bool ignoresTerminalKeys = false;
    /// Sets `SIGPIPE` to ignored for this process if it has its default action.
    bool ignoresBrokenPipes = true;
    /// The host is started by a thread of the process that never ends, instead of the caller's, with whose
    /// end it would end; and a start that fails or takes too long ends with an `IOException`, instead of
    /// never.
    bool isWatched = false;
    /// With `isWatched`: the time that the host has to open its pipes, in seconds.
    double startTimeLimit = 10;
    /// With `isWatched`: a signal ends the start; may be null. Borrowed for the length of the start.
    const base::core::EventDescriptor* cancellation = nullptr;
    /// Gets the host's end reported; null stands for the manager of the process.
    Ref<RemotePluginHostProxyManager> manager;
};

/// Launches the program of a host; see `isWatched` for the thread. Throws `IOException`, a `StartException`
/// for a watched program that can't be executed.
void launchHost(base::core::ChildProcess& child, const HostOptions& options, int32_t hostId);

/// The environment of a child host: `environment`, with "TANVEX_PLUGIN_HOST_LIBRARY_PATH" renamed to
/// "LD_LIBRARY_PATH" if it is set. `environment` is a null-terminated list of "NAME=value"; an entry without
/// "=" is a name with an empty value.
std::map<std::string, std::string> hostEnvironment(const char* const* environment);
