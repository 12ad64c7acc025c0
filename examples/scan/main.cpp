// Lists the plug-ins of folders and files as JSON, a line for each plug-in and for each file that has none:
// scan
// [--cache DIR] [--anew] PATH...

#include <condition_variable>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <plugin-host/client.hpp>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* usage = "Usage: scan [--cache DIR] [--anew] PATH...";

struct Arguments {
    std::string cache;
    bool anew = false;
    std::vector<std::string> paths;
};

Arguments readArguments(int count, char** texts) {
    Arguments arguments;
    for (int i = 1; i < count; ++i) {
        const std::string text = texts[i];
        if (text == "--cache" && i + 1 < count)
            arguments.cache = texts[++i];
        else if (text == "--anew")
            arguments.anew = true;
        else if (text.starts_with("--"))
            throw std::runtime_error(usage);
        else
            arguments.paths.push_back(text);
    }
    if (arguments.paths.empty())
        throw std::runtime_error(usage);
    return arguments;
}

nlohmann::ordered_json describe(const plugin_host::found& found) {
    nlohmann::ordered_json entry{{"path", found.path},
                                 {"format", found.format == plugin_host::format::vst3 ? "VST 3" : "VST 2"}};
    if (found.width != plugin_host::width::any)
        entry["width"] = found.width == plugin_host::width::bits32 ? 32 : 64;
    if (!found.error.empty()) {
        entry["error"] = found.error;
        return entry;
    }
    entry["name"] = found.name;
    entry["vendor"] = found.vendor;
    entry["version"] = found.version;
    entry["category"] = found.category;
    entry["identifier"] = found.identifier;
    entry["inputs"] = found.input_channels;
    entry["outputs"] = found.output_channels;
    entry["noteInput"] = found.has_note_input;
    entry["noteOutput"] = found.has_note_output;
    return entry;
}

/// The entries on the standard output, and on a terminal a line with the progress. The thread of callbacks.
class Listing {
public:
    void add(const plugin_host::found& found) {
        clearLine();
        // Names of files needn't be UTF-8.
        constexpr auto replace = nlohmann::ordered_json::error_handler_t::replace;
        std::cout << describe(found).dump(-1, ' ', false, replace) << std::endl;
    }
    void showProgress(size_t done, size_t total, std::string_view path) const {
        if (!onTerminal)
            return;
        clearLine();
        std::cerr << done << "/" << total << " " << std::filesystem::path(path).filename().string();
    }
    void finish(plugin_host::status status) {
        clearLine();
        const std::lock_guard lock(mutex);
        end = status;
        hasEnded = true;
        ended.notify_all();
    }
    /// Any other thread.
    plugin_host::status waitForEnd() {
        std::unique_lock lock(mutex);
        ended.wait(lock, [this] { return hasEnded; });
        return end;
    }

private:
    void clearLine() const {
        if (onTerminal)
            std::cerr << "\r\033[K";
    }

    const bool onTerminal = isatty(STDERR_FILENO) != 0;
    std::mutex mutex;
    std::condition_variable ended;
    bool hasEnded = false;
    plugin_host::status end = PLUGIN_HOST_OK;
};

void scan(const Arguments& arguments) {
    // The programs of the build that this one is part of.
    const auto directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::string program = directory / "plugin-host";
    Listing listing; // outlives the session, whose callbacks use it
    plugin_host::session session(
        {.program_32 = program,
         .program_64 = program,
         .cache_directory = arguments.cache.empty() ? nullptr : arguments.cache.c_str()});
    const plugin_host::scan scan(
        session, {.paths = arguments.paths,
                  .anew = arguments.anew,
                  .found = [&](const plugin_host::found& found) { listing.add(found); },
                  .progress = [&](size_t done, size_t total,
                                  std::string_view path) { listing.showProgress(done, total, path); },
                  .finished = [&](plugin_host::status end) { listing.finish(end); }});
    if (const plugin_host::status end = listing.waitForEnd(); end != PLUGIN_HOST_OK)
        throw plugin_host::error(end, plugin_host_status_text(end));
    if (!std::cout)
        throw std::runtime_error("Could not write to the standard output stream");
}

} // namespace

int main(int argc, char** argv) {
    try {
        scan(readArguments(argc, argv));
        return 0;
    } catch (const std::exception& exception) {
        std::cerr << "scan: " << exception.what() << "\n";
        return 1;
    }
}
