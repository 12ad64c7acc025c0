#include "app/CommandLine.h"

#include "app/FixedBlockPool.h"
#include "app/PluginList.h"
#include "app/PluginReport.h"
#include "app/SelfTest.h"
#include "app/TestProxyProvider.h"
#include "core/FileSystem.h"
#include "core/StdStreams.h"
#include "host/HostProcess.h"

#include <string_view>
#include <unistd.h>

using base::core::LocalFileSystem;
using base::core::standardOutput;

namespace {

constexpr int usageStatus = -1;
constexpr int hostArgumentCount = 6;

// Says things that the program doesn't do: "host" takes four integers, and there is no "debug". Deliberate:
// the text is known by heart, and is matched.
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
        standardOutput().printLine(line);
}

[[noreturn]] void reportToStandardOutput(const String& path) {
    _exit(static_cast<int>(printPluginMetaData(path, standardOutput())));
}

[[noreturn]] void reportToFile(const char* file, const String& path) {
    const Ref<OutputStream> stream = LocalFileSystem::get().openForWriting(file, false);
    const ReportStatus status = printPluginMetaData(path, *stream);
    stream->close();
    _exit(static_cast<int>(status));
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
    // Any other count falls through, and ends as an unknown action. Deliberate.
    if (action == "host" && argumentCount == hostArgumentCount)
        runHostProcess(arguments + 2);

    // The last argument, whatever the action.
    LocalFileSystem& files = LocalFileSystem::get();
    const String path = files.normalize(arguments[argumentCount - 1]);
    if (!files.exists(path)) {
        standardOutput().printLine("Error: file does not exists.");
        printUsage();
        return usageStatus;
    }
    if (action == "test")
        return testPlugin(path, new SandboxedTestProxyProvider(arguments[0]));
    if (action == "test-local")
        return testPlugin(path, new LocalTestProxyProvider);
    if (action == "list") {
        listPlugins(path, standardOutput());
        return 0;
    }
    if (action == "info")
        reportToStandardOutput(path);
    if (action == "info-file")
        reportToFile(arguments[2], path);
    standardOutput().printLine("plugin-host: unknown action; allowed values are [debug|list|info|host].");
    printUsage();
    _exit(usageStatus);
}
