// The functions of sessions and hosts.

#include "library/Calls.h"
#include "library/Description.h"
#include "library/Texts.h"
#include "plugin/Extensions.h"
#include "plugin/PluginFile.h"

#include <cstdlib>
#include <type_traits>

using namespace client_library;

namespace {

constexpr int32_t highestRate = 1'000'000;
constexpr int32_t highestBlockSize = 65'536;
constexpr int32_t highestWorkerCount = 64;
constexpr double defaultStartTime = 10;
constexpr double defaultRequestTime = 30;
constexpr double defaultReportTime = 10;
constexpr double defaultHangTime = 2;
constexpr double defaultStateInterval = 60;

std::string textOr(const char* text, const char* otherwise, const char* what) {
    return text != nullptr ? readText(text, what).toStdString() : std::string(otherwise);
}

std::string chooseExtensions(const char* option) {
    if (option != nullptr)
        return readText(option, "extensions").toStdString();
    if (const char* names = std::getenv("TANVEX_PLUGIN_HOST_EXTENSIONS"))
        return names;
    std::string all;
    for (const ExtensionName& each : extensionNames)
        all.append(all.empty() ? "" : ",").append(each.name);
    return all;
}

std::string chooseCacheDirectory(const char* option) {
    if (option != nullptr)
        return *option == '\0' ? std::string() : readPath(option, "cache_directory").toStdString();
    const char* cache = std::getenv("XDG_CACHE_HOME");
    if (cache != nullptr && *cache == '/')
        return std::string(cache) + "/plugin-host";
    const char* home = std::getenv("HOME");
    return home != nullptr && *home == '/' ? std::string(home) + "/.cache/plugin-host" : std::string();
}

SessionSettings readSettings(const plugin_host_session_options& options) {
    SessionSettings settings;
    if (options.callbacks != nullptr)
        settings.callbacks = readStructure(options.callbacks, "callbacks");
    settings.programs.program32 = textOr(options.program_32, PLUGIN_HOST_PROGRAM_32, "program_32");
    settings.programs.program64 = textOr(options.program_64, PLUGIN_HOST_PROGRAM_64, "program_64");
    settings.host.hasLibraryPath = options.library_path != nullptr;
    settings.host.libraryPath = textOr(options.library_path, "", "library_path");
    settings.host.extensions = chooseExtensions(options.extensions);
    settings.host.sampleRate = readNumber(options.sample_rate, 44'100, highestRate, "sample_rate");
    settings.host.blockSize = readNumber(options.block_size, 256, highestBlockSize, "block_size");
    settings.host.workerCount = readNumber(options.worker_count, 1, highestWorkerCount, "worker_count");
    settings.host.startTimeLimit = readTime(options.start_timeout, defaultStartTime, "start_timeout");
    settings.requestTimeLimit = readTime(options.request_timeout, defaultRequestTime, "request_timeout");
    settings.reportTimeLimit = readTime(options.report_timeout, defaultReportTime, "report_timeout");
    settings.cacheDirectory = chooseCacheDirectory(options.cache_directory);
    // As a number: it may be none of the type's.
    std::underlying_type_t<plugin_host_sharing> sharing = 0;
    std::memcpy(&sharing, &options.sharing, sizeof sharing);
    if (sharing != PLUGIN_HOST_SHARED && sharing != PLUGIN_HOST_SEPARATE &&
        sharing != PLUGIN_HOST_OWN_WORKERS)
        throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "sharing is out of range");
    settings.hasSeparateHosts = sharing == PLUGIN_HOST_SEPARATE;
    settings.hasOwnWorkers = sharing == PLUGIN_HOST_OWN_WORKERS;
    settings.host.hangTimeLimit =
        options.hang_timeout < 0 ? -1 : readTime(options.hang_timeout, defaultHangTime, "hang_timeout");
    settings.restores = (options.flags & PLUGIN_HOST_RESTORE) != 0;
    settings.stateInterval = options.state_interval < 0
                                 ? -1
                                 : readTime(options.state_interval, defaultStateInterval, "state_interval");
    if (settings.restores && options.state_directory != nullptr)
        settings.stateDirectory = readPath(options.state_directory, "state_directory").toStdString();
    settings.dispatches = (options.flags & PLUGIN_HOST_DISPATCH) != 0;
    settings.keepsBrokenPipes = (options.flags & PLUGIN_HOST_KEEP_SIGPIPE) != 0;
    return settings;
}

HostSettings readSettings(const plugin_host_host_options& options, const ClientSession& session) {
    HostSettings settings = session.getHostSettings();
    HostWidth width = ownWidth;
    if (options.width == PLUGIN_HOST_WIDTH_32 || options.width == PLUGIN_HOST_WIDTH_64)
        width = options.width == PLUGIN_HOST_WIDTH_32 ? HostWidth::bits32 : HostWidth::bits64;
    else if (options.width != 0)
        throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "width is neither of the two");
    settings.program = options.program != nullptr ? readText(options.program, "program")
                                                  : String(session.reports->programs.get(width).c_str());
    if (options.library_path != nullptr) {
        settings.hasLibraryPath = true;
        settings.libraryPath = readText(options.library_path, "library_path").toStdString();
    }
    if (options.extensions != nullptr)
        settings.extensions = chooseExtensions(options.extensions);
    settings.sampleRate = readNumber(options.sample_rate, settings.sampleRate, highestRate, "sample_rate");
    settings.blockSize = readNumber(options.block_size, settings.blockSize, highestBlockSize, "block_size");
    settings.workerCount =
        readNumber(options.worker_count, settings.workerCount, highestWorkerCount, "worker_count");
    settings.startTimeLimit = readTime(options.start_timeout, settings.startTimeLimit, "start_timeout");
    return settings;
}

} // namespace

const char* plugin_host_version(void) {
    return PLUGIN_HOST_VERSION;
}

const char* plugin_host_status_text(plugin_host_status status) {
    static constexpr const char* texts[] = {"no error",
                                            "invalid handle",
                                            "invalid argument",
                                            "invalid state",
                                            "not found",
                                            "the plug-in host didn't start",
                                            "timed out",
                                            "cancelled",
                                            "the plug-in host is gone",
                                            "refused by the plug-in host",
                                            "the block is full",
                                            "the worker is busy",
                                            "no memory",
                                            "a system call failed",
                                            "the plug-in is late"};
    const auto index = static_cast<size_t>(status);
    return index < std::size(texts) ? texts[index] : "unknown status";
}

const char* plugin_host_error(void) {
    return lastError();
}

plugin_host_status plugin_host_inspect(const char* path, plugin_host_file* file) {
    return answer([&] {
        if (!canFill(file))
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "file is null, or its size can't be right");
        PluginFile found;
        try {
            found = inspectPluginFile(readPath(path, "path"));
        } catch (const IOException& exception) {
            throw Failure(PLUGIN_HOST_NOT_FOUND, exception.getMessage());
        }
        plugin_host_file result{};
        result.format = found.format == PluginFormat::vst3 ? PLUGIN_HOST_VST3 : PLUGIN_HOST_VST2;
        result.widths = (found.library32.isEmpty() ? 0 : PLUGIN_HOST_WIDTH_32) |
                        (found.library64.isEmpty() ? 0 : PLUGIN_HOST_WIDTH_64);
        if (result.widths == 0)
            throw Failure(PLUGIN_HOST_NOT_FOUND, found.problem);
        fill(*file, result);
    });
}

void plugin_host_description_free(const plugin_host_description* description) {
    freeDescription(description);
}

void plugin_host_free(void* bytes) {
    std::free(bytes);
}

plugin_host_status plugin_host_session_create(const plugin_host_session_options* options,
                                              plugin_host_session** session) {
    return answer([&] {
        require(session, "session") = nullptr;
        const Ref<ClientSession> made(new ClientSession(readSettings(readStructure(options, "options"))));
        *session = static_cast<plugin_host_session*>(makeHandle(HandleKind::session, *made));
    });
}

plugin_host_status plugin_host_session_destroy(plugin_host_session* session) {
    return answerWith(session, [&](ClientSession& object) {
        invalidate(session);
        object.end();
    });
}

plugin_host_status plugin_host_session_descriptor(plugin_host_session* session, int* descriptor) {
    return answerWith(session, [&](ClientSession& object) {
        if (!object.settings.dispatches)
            throw Failure(PLUGIN_HOST_INVALID_STATE, "The session has a thread for its callbacks");
        require(descriptor, "descriptor") = object.context->queue->getDescriptor();
    });
}

plugin_host_status plugin_host_session_dispatch(plugin_host_session* session) {
    return answerWith(session, [&](ClientSession& object) {
        if (!object.settings.dispatches)
            throw Failure(PLUGIN_HOST_INVALID_STATE, "The session has a thread for its callbacks");
        if (!object.context->queue->runAll())
            throw Failure(PLUGIN_HOST_BUSY, "Callbacks are being made already");
    });
}

plugin_host_status plugin_host_session_keep_states(plugin_host_session* session) {
    return answerWith(session, [](ClientSession& object) { object.requireRevival().keepStates(); });
}

plugin_host_status plugin_host_session_set_format(plugin_host_session* session, int32_t sample_rate,
                                                  int32_t block_size) {
    return answerWith(session, [&](ClientSession& object) {
        const HostSettings current = object.getHostSettings();
        object.requireRevival().changeFormat(
            readNumber(sample_rate, current.sampleRate, highestRate, "sample_rate"),
            readNumber(block_size, current.blockSize, highestBlockSize, "block_size"));
    });
}

plugin_host_status plugin_host_host_start(plugin_host_session* session,
                                          const plugin_host_host_options* options, plugin_host_host** host) {
    return answerWith(session, [&](ClientSession& object) {
        require(host, "host") = nullptr;
        *host = object.startHost(readSettings(readStructure(options, "options"), object))->handle;
    });
}

plugin_host_status plugin_host_host_destroy(plugin_host_host* host) {
    return answerWith(host, [&](ClientHost& object) {
        invalidate(host);
        object.end();
        sessionOf(object).removeHost(object);
    });
}

plugin_host_status plugin_host_host_get_info(plugin_host_host* host, plugin_host_host_info* info) {
    return answerWith(host, [&](ClientHost& object) {
        if (!canFill(info))
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "info is null, or its size can't be right");
        const HostSettings& settings = object.settings;
        fill(*info, {0, object.getPid(), settings.sampleRate, settings.blockSize, settings.workerCount});
    });
}

plugin_host_status plugin_host_host_ping(plugin_host_host* host, int32_t timeout) {
    return answerWith(host, [&](ClientHost& object) {
        object.ping(readTime(timeout, sessionOf(object).settings.requestTimeLimit, "timeout"));
    });
}

plugin_host_status plugin_host_host_kill(plugin_host_host* host) {
    return answerWith(host, [](ClientHost& object) { object.kill(); });
}

plugin_host_status plugin_host_host_hide_editors(plugin_host_host* host) {
    return answerWith(host, [](ClientHost& object) {
        object.send("HideAllGUIs", RequestLog::noInstance,
                    [](RemotePluginHostProxy& proxy) { proxy.hideAllGUIs(); });
    });
}

plugin_host_status plugin_host_host_show_editors(plugin_host_host* host) {
    return answerWith(host, [](ClientHost& object) {
        object.send("ShowAllGUIs", RequestLog::noInstance,
                    [](RemotePluginHostProxy& proxy) { proxy.showAllGUIs(); });
    });
}

plugin_host_status plugin_host_cycle_create(plugin_host_session* session, size_t capacity,
                                            plugin_host_cycle** cycle) {
    return answerWith(session, [&](ClientSession& object) {
        require(cycle, "cycle") = nullptr;
        if (capacity < 1 || capacity > ClientCycle::largestCapacity)
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "capacity is out of range");
        *cycle = object.makeCycle(capacity)->handle;
    });
}

plugin_host_status plugin_host_cycle_destroy(plugin_host_cycle* cycle) {
    return answerWith(cycle, [&](ClientCycle& object) {
        invalidate(cycle);
        object.end();
        sessionOf(object).removeCycle(object);
    });
}

plugin_host_status plugin_host_scan_start(plugin_host_session* session,
                                          const plugin_host_scan_options* options, plugin_host_scan** scan) {
    return answerWith(session, [&](ClientSession& object) {
        require(scan, "scan") = nullptr;
        *scan = object.startScan(readStructure(&require(options, "options"), "options"))->handle;
    });
}

plugin_host_status plugin_host_scan_cancel(plugin_host_scan* scan) {
    return answerWith(scan, [](ClientScan& object) { object.cancel(); });
}

plugin_host_status plugin_host_scan_wait(plugin_host_scan* scan, int32_t timeout) {
    return answerWith(scan, [&](ClientScan& object) {
        if (!object.wait(timeout < 0 ? -1 : timeout / 1000.0))
            throw Failure(PLUGIN_HOST_TIMED_OUT, "The scan goes on");
    });
}

plugin_host_status plugin_host_scan_destroy(plugin_host_scan* scan) {
    return answerWith(scan, [&](ClientScan& object) {
        invalidate(scan);
        object.end();
        sessionOf(object).removeScan(object);
    });
}
