#include "client/HostOptions.h"

#include "client/LaunchThread.h"
#include "client/StartWatch.h"
#include "core/Exception.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

using base::core::ChildProcess;

namespace {

constexpr const char* libraryPathVariable = "TANVEX_PLUGIN_HOST_LIBRARY_PATH";

} // namespace

std::map<std::string, std::string> hostEnvironment(const char* const* environment) {
    ChildProcess::Environment entries;
    for (; *environment != nullptr; ++environment) {
        const char* equals = std::strchr(*environment, '=');
        if (equals != nullptr)
            entries.emplace(std::string(*environment, equals), equals + 1);
        else
            entries.emplace(*environment, "");
    }
    if (const auto libraryPath = entries.find(libraryPathVariable); libraryPath != entries.end()) {
        entries["LD_LIBRARY_PATH"] = libraryPath->second;
        entries.erase(libraryPathVariable);
    }
    return entries;
}

void launchHost(ChildProcess& child, const HostOptions& options, int32_t hostId) {
    const std::vector<String> arguments{options.program,
                                        "host",
                                        String::fromInteger(options.sampleRate),
                                        String::fromInteger(options.blockSize),
                                        String::fromInteger(hostId),
                                        String::fromInteger(options.workerCount)};
    if (!options.isWatched) {
        if (std::getenv(libraryPathVariable) == nullptr)
            child.launch(arguments);
        else
            child.launch(arguments, hostEnvironment(environ));
        return;
    }
    ChildProcess::Program program;
    program.environment = hostEnvironment(environ);
    program.output = options.output;
    program.error = options.error;
    program.inGroup = options.ignoresTerminalKeys;
    for (const String& argument : arguments)
        program.arguments.push_back(argument.toStdString());
    for (const auto& [name, value] : options.environment)
        (*program.environment)[name] = value;
    runOnLaunchThread([&] { child.launch(program); });
    if (const int32_t error = child.getExecError(); error != 0) {
        errno = error;
        throw StartException(StartException::Reason::ended,
                             concat(options.program, " can't be executed: ", base::core::lastErrorMessage()));
    }
}
