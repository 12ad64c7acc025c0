#include "Options.h"

#include <charconv>
#include <filesystem>
#include <getopt.h>
#include <string_view>
#include <system_error>
#include <utility>

const char* const usageText =
    "Usage: plugin-host-live [--midi] [--editor] [--deadline MS] [--pipeline]\n"
    "                        [--preset FILE] [--identifier ID] PLUGIN [[--preset FILE] [--identifier ID] "
    "PLUGIN]...\n"
    "Plays a chain of VST 2 and VST 3 plug-ins as a client of the JACK server.\n"
    "\n"
    "  --midi           have a MIDI input and a MIDI output\n"
    "  --editor         open the editors\n"
    "  --preset FILE    load the preset of the plug-in that follows, and save it at the end\n"
    "  --identifier ID  which plug-in of a file that has several\n"
    "  --deadline MS    time for a period, in milliseconds; default: 80 % of the period\n"
    "  --pipeline       render the plug-ins side by side, with a period of latency for each but the first\n"
    "  --help, --version\n"
    "\n"
    "Keys on a terminal: s saves the presets, q ends. So do the signals SIGUSR1, SIGINT, SIGTERM, SIGHUP.\n";

namespace {

enum Letter {
    help = 'h',
    version = 'v',
    midi = 'm',
    editor = 'e',
    pipeline = 'l',
    preset = 'p',
    identifier = 'i',
    deadline = 'd'
};

const option longOptions[] = {{"help", no_argument, nullptr, help},
                              {"version", no_argument, nullptr, version},
                              {"midi", no_argument, nullptr, midi},
                              {"editor", no_argument, nullptr, editor},
                              {"pipeline", no_argument, nullptr, pipeline},
                              {"preset", required_argument, nullptr, preset},
                              {"deadline", required_argument, nullptr, deadline},
                              {"identifier", required_argument, nullptr, identifier},
                              {nullptr, 0, nullptr, 0}};

constexpr double longestDeadline = 60'000; // milliseconds

std::chrono::nanoseconds readDeadline(std::string_view text) {
    double milliseconds = 0;
    const auto [end, failure] = std::from_chars(text.begin(), text.end(), milliseconds);
    if (failure != std::errc() || end != text.end() || !(milliseconds > 0 && milliseconds <= longestDeadline))
        throw UsageError("--deadline takes milliseconds, above 0 and up to 60000: " + std::string(text));
    return std::chrono::nanoseconds(static_cast<int64_t>(milliseconds * 1e6));
}

/// Without a slash at the end, which shells add to folders: the format depends on the end of the path.
std::string absolutePath(const std::string& path) {
    const std::filesystem::path whole = std::filesystem::absolute(path);
    return whole.has_filename() ? whole : whole.parent_path();
}

/// Puts what was said for a plug-in that has not come yet in order.
class PluginReader {
public:
    explicit PluginReader(Options& options) : plugins(options.plugins) {}

    void setPreset(const char* path) { set(next.preset, absolutePath(path), "--preset"); }
    void setIdentifier(const char* text) { set(next.identifier, text, "--identifier"); }
    void addPlugin(const char* path) {
        next.path = absolutePath(path);
        plugins.push_back(std::exchange(next, {}));
    }

    /// What stands behind the last plug-in belongs to the only one, and else to none.
    void finish() {
        if (plugins.empty())
            throw UsageError("No plug-in is named");
        for (std::string PluginChoice::*field : {&PluginChoice::preset, &PluginChoice::identifier}) {
            const char* const name = field == &PluginChoice::preset ? "--preset" : "--identifier";
            if ((next.*field).empty())
                continue;
            if (plugins.size() > 1)
                throw UsageError(std::string(name) + " stands before the plug-in that it belongs to");
            set(plugins[0].*field, next.*field, name);
        }
    }

private:
    static void set(std::string& field, const std::string& text, const char* name) {
        if (text.empty())
            throw UsageError(std::string(name) + " is empty");
        if (!field.empty())
            throw UsageError(std::string(name) + " is given twice for one plug-in");
        field = text;
    }

    std::vector<PluginChoice>& plugins;
    PluginChoice next;
};

void apply(int letter, const char* argument, Options& options, PluginReader& plugins) {
    switch (letter) {
    case help:
        options.showHelp = true;
        break;
    case version:
        options.showVersion = true;
        break;
    case midi:
        options.midi = true;
        break;
    case editor:
        options.editor = true;
        break;
    case pipeline:
        options.pipeline = true;
        break;
    case preset:
        plugins.setPreset(argument);
        break;
    case identifier:
        plugins.setIdentifier(argument);
        break;
    case deadline:
        options.deadline = readDeadline(argument);
        break;
    default:
        plugins.addPlugin(argument);
    }
}

} // namespace

Options readOptions(int count, char** texts) {
    Options options;
    PluginReader plugins(options);
    optind = 0; // of the C library: from the start
    opterr = 0;
    // "-": other arguments come in their place, as a letter 1; ":": a missing argument as a colon.
    for (int letter = 0; (letter = getopt_long(count, texts, "-:", longOptions, nullptr)) != -1;) {
        if (letter == '?')
            throw UsageError(std::string("Unknown option: ") + texts[optind - 1]);
        if (letter == ':')
            throw UsageError(std::string(texts[optind - 1]) + " needs an argument");
        apply(letter, optarg, options, plugins);
    }
    // Behind "--".
    for (; optind < count; ++optind)
        plugins.addPlugin(texts[optind]);
    if (!options.showHelp && !options.showVersion)
        plugins.finish();
    return options;
}
