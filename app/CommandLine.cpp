#include "app/CommandLine.h"

#include "app/FixedBlockPool.h"
#include "app/PluginFormats.h"
#include "app/PluginList.h"
#include "app/PluginReport.h"
#include "app/SelfTest.h"
#include "app/TestProxyProvider.h"
#include "core/FileSystem.h"
#include "core/Log.h"
#include "core/StdStreams.h"
#include "host/HostProcess.h"

#include <string_view>
#include <unistd.h>

using base::core::LocalFileSystem;
using base::core::logError;
using base::core::logProgress;
using base::core::standardOutput;

namespace {

constexpr int usageStatus = -1;
constexpr int unwrittenListStatus = 1;
constexpr int hostArgumentCount = 6;

// Oddity usage-describes-other-actions: "host" takes four integers, and there is no "debug".
constexpr const char* usageLines[] = {
    "",
    "Usage:",
    "  plugin-host <action> <vstpath>",
    "",
    "  <action>  is one of list|info|info-file|test|test-local|host",
    "  <vstpath> is either ...",
    "  ... the path to a VST directory for the action debug and list.",
    "  ... the path to a VST file for the actions info and host.",
    "",
    "Examples:",
    "  plugin-host debug /path/to/vstdir",
    "  plugin-host list /path/to/vstdir",
    "  plugin-host info /path/to/vstfile",
    "  plugin-host info-file /path/to/info-file /path/to/vstfile",
    "  plugin-host host inputpipe outputpipe",
    "",
};

void printUsage() {
    for (const char* line : usageLines)
        logProgress(line);
}

/// Runs `report` and ends the process with its status.
template <class Report>
[[noreturn]] void exitWith(const Report& report) {
    ReportStatus status = ReportStatus::failed;
    try {
        status = report();
    } catch (const Exception& exception) {
        logError("Could not write the report: ", exception.getMessage());
    }
    _exit(static_cast<int>(status));
}

ReportStatus reportToFile(const char* file, const String& path) {
    const Ref<OutputStream> stream = LocalFileSystem::get().openForWriting(file, false);
    const ReportStatus status = printPluginMetaData(path, *stream);
    stream->close();
    return status;
}

int listToStandardOutput(const String& path) {
    try {
        listPlugins(path, standardOutput());
        return 0;
    } catch (const IOException& exception) {
        logError("Could not write the list: ", exception.getMessage());
        return unwrittenListStatus;
    }
}

/// False, which is logged, for a path that isn't UTF-8, or a relative one without a current directory.
bool normalizePath(const char* given, String& path) {
    try {
        path = LocalFileSystem::get().normalize(given);
        return true;
    } catch (const IOException& exception) {
        logError("Could not use the path \"", given, "\": ", exception.getMessage());
        return false;
    }
}

int testPlugin(const String& path, const Ref<TestProxyProvider>& provider) {
    return SelfTest(provider, {path}).run();
}

} // namespace

int runCommandLine(int argumentCount, const char* const arguments[]) {
    createMemoryPools();
    if (argumentCount < 3) {
        printUsage();
        return usageStatus;
    }
    const std::string_view action = arguments[1];
    // Oddity host-argument-count: any other count falls through, and ends as an unknown action.
    if (action == "host" && argumentCount == hostArgumentCount)
        runHostProcess(arguments + 2, addPluginFormats);

    // The last argument is the path of every action.
    String path;
    if (!normalizePath(arguments[argumentCount - 1], path))
        return usageStatus;
    if (!LocalFileSystem::get().exists(path)) {
        // Oddity misspelt-texts: "exists".
        logProgress("Error: file does not exists.");
        printUsage();
        return usageStatus;
    }
    if (action == "test")
        return testPlugin(path, new SandboxedTestProxyProvider(arguments[0]));
    if (action == "test-local")
        return testPlugin(path, new LocalTestProxyProvider);
    if (action == "list")
        return listToStandardOutput(path);
    if (action == "info")
        exitWith([&] { return printPluginMetaData(path, standardOutput()); });
    if (action == "info-file")
        exitWith([&] { return reportToFile(arguments[2], path); });
    logProgress("plugin-host: unknown action; allowed values are [debug|list|info|host].");
    printUsage();
    _exit(usageStatus);
}
