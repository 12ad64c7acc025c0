// Saves the state of a plug-in as a preset while the plug-in plays, changes every parameter, loads the preset
// again and compares all values with those that were saved. Then it offers the plug-in files that aren't its
// own. Without it, nobody would know whether sounds come back from the presets that this host writes, and
// whether a file that is tried out by mistake ends a session: users would find out.
//
//     preset-course [--seconds N] HOST PLUGIN PRESET [FILE...]
//
// HOST is the host program, PLUGIN whatever that loads, PRESET the path where its preset is saved, and stays,
// and each FILE a preset of something else. A host that takes longer than N seconds, 40 without the option,
// is killed.
//
// One line goes to the standard output:
//
//     ok kind=chunk bytes=512 parameters=7 changed=7 greatest=0 lost=- refused=1 taken=0
//
// with the kind and the size of the preset, the number of parameters, how many of them were at other values
// when the preset was loaded, the greatest difference of a value before and after, the indices of the
// parameters that didn't come back, and how many of the files the host refused and took. What it said of
// them goes to the standard error stream. Instead of "ok" there may be
//
//     none       the plug-in has neither a chunk nor a program: what was saved is a header
//     differs    not all values came back; the names of some that didn't follow
//
// or "failed in", what was being done, ": " and what is wrong. The status is 0 for "ok" and "none", 2 when
// the arguments are wrong, else 1.

#include "client/ReplyWaiter.h"
#include "plugin/PluginException.h"
#include "real-plugins/CourseProgram.h"
#include "real-plugins/PlayedPlugin.h"
#include "real-plugins/ScoreBlock.h"
#include "support/FileBytes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace test_support;

namespace {

constexpr float tolerance = 1e-6F; // of the whole range

using Parameters = std::vector<Ref<ParameterInfo>>;

/// What a preset file says of itself.
struct Preset {
    std::string kind;
    size_t size;
};

Preset describe(const std::string& file) {
    constexpr size_t vst2HeaderSize = 156;
    constexpr size_t vst2ChunkOffset = 160;
    constexpr size_t vst3HeaderSize = 48;
    const std::string format = file.substr(0, 4) == "CcnK" ? file.substr(8, 4) : file.substr(0, 4);
    if (format == "FxBk")
        return {file.size() > vst2HeaderSize ? "parameters" : "none", file.size()};
    if (format == "FBCh")
        return {file.size() > vst2ChunkOffset ? "chunk" : "none", file.size()};
    if (format != "VST3")
        throw std::runtime_error("the file is in no form of a preset");
    const bool isEmpty = file.substr(vst3HeaderSize, 4) == "List";
    return {isEmpty ? "none" : "chunk", file.size()};
}

class PresetCourse {
public:
    explicit PresetCourse(const CourseArguments& arguments)
        : arguments(arguments), watchdog(arguments.seconds),
          path(std::filesystem::absolute(arguments.others[0])) {}

    void run() {
        player.emplace(arguments.host, arguments.plugin, &watchdog);
        stage = "first blocks";
        playBlocks();
        stage = "save";
        save();
        const Parameters before = askValues();
        stage = "changes";
        changeAll(before);
        playBlocks();
        changed = findDifferences(before, askValues()).size();
        if (changed == 0 && !before.empty())
            throw std::runtime_error("no parameter took its change");
        stage = "load";
        load(path);
        differences = findDifferences(before, askValues());
        stage = "blocks with the preset";
        playBlocks();
        for (size_t i = 1; i < arguments.others.size(); ++i)
            offer(std::filesystem::absolute(arguments.others[i]));
        stage = "end";
        player->end();
    }

    bool isGood() const { return preset.kind == "none" || differences.empty(); }
    void print(FILE* results) const {
        const char* verdict = preset.kind == "none" ? "none" : differences.empty() ? "ok" : "differs";
        std::fprintf(results,
                     "%s kind=%s bytes=%zu parameters=%zu changed=%zu greatest=%.3g lost=%s refused=%d "
                     "taken=%d%s\n",
                     verdict, preset.kind.c_str(), preset.size, player->parameters().size(), changed,
                     static_cast<double>(getGreatest()), listLost().c_str(), refused, taken,
                     isGood() ? "" : nameDifferences().c_str());
    }

    /// What became of the host, behind a failure; empty if it never was connected.
    std::string describeEnd() {
        const std::string end = player ? "; " + player->describeEnd() : "";
        return watchdog.hasBarked() ? "; the host took too long and was killed" : end;
    }
    const std::string& getStage() const { return stage; }

private:
    /// A parameter whose value isn't what it was.
    struct Difference {
        size_t index;
        Ref<ParameterInfo> parameter;
        float before;
        float after;

        float getSize() const { return std::abs(after - before); }
    };

    void playBlocks() {
        constexpr int32_t count = 4;
        for (int32_t i = 0; i < count; ++i, ++blocks) {
            writeBlock(player->block(), blocks % score::blocks);
            player->playBlock();
        }
    }

    void save() {
        std::filesystem::remove(path);
        const Ref<ReplyWaiter> saved(new ReplyWaiter(player->host()));
        player->host().savePreset(player->getId(), path.c_str(), saved);
        saved->wait(PlayedPlugin::replyPatience);
        preset = describe(readFile(path));
    }

    void load(const std::string& file) {
        const Ref<ReplyWaiter> loaded(new ReplyWaiter(player->host()));
        player->host().loadPreset(player->getId(), file.c_str(), loaded);
        loaded->wait(PlayedPlugin::replyPatience);
    }

    Parameters askValues() {
        const Ref<ReplyWaiter> updated(new ReplyWaiter(player->host()));
        player->host().updateIO(player->getId(), updated);
        return updated->waitFor<DefineIoReply>(PlayedPlugin::replyPatience)->state->parameters;
    }

    /// Moves each value to the other half of its range: also one that is a switch is then at another.
    void changeAll(const Parameters& before) {
        PluginAudioContext& block = player->block();
        for (size_t next = 0; next < before.size();) {
            writeBlock(block, blocks++ % score::blocks);
            while (next < before.size() &&
                   *block.getRegions().parameterChangeCount < block.getRegions().parameterChangeCapacity) {
                addChange(block, static_cast<int32_t>(next), before[next]->value < 0.5F ? 0.75F : 0.25F);
                ++next;
            }
            player->playBlock();
        }
    }

    static std::vector<Difference> findDifferences(const Parameters& before, const Parameters& after) {
        if (before.size() != after.size())
            throw std::runtime_error("the plug-in has other parameters than before");
        std::vector<Difference> differences;
        for (size_t i = 0; i < before.size(); ++i) {
            const Difference difference{i, before[i], before[i]->value, after[i]->value};
            if (!(difference.getSize() <= tolerance)) // nor if one is no number
                differences.push_back(difference);
        }
        return differences;
    }

    /// The host has to answer, whatever it makes of the file, and to play on.
    void offer(const std::string& file) {
        stage = "offer of " + file;
        try {
            load(file);
            ++taken;
        } catch (const PluginException& refusal) {
            ++refused;
            std::fprintf(stderr, "%s: %s\n", file.c_str(), refusal.getMessage().toStdString().c_str());
        }
        playBlocks();
        askValues();
    }

    float getGreatest() const {
        float greatest = 0;
        for (const Difference& difference : differences)
            greatest = std::max(greatest, difference.getSize());
        return greatest;
    }

    std::string listLost() const {
        std::string list;
        for (const Difference& difference : differences)
            list += (list.empty() ? "" : ",") + std::to_string(difference.index);
        return list.empty() ? "-" : list;
    }

    std::string nameDifferences() const {
        constexpr size_t most = 8;
        std::string words;
        for (size_t i = 0; i < std::min(most, differences.size()); ++i) {
            const Difference& difference = differences[i];
            words += " \"" + difference.parameter->name.toStdString() + "\"" +
                     (difference.parameter->canBeAutomated ? "" : " (not automated)") + " from " +
                     std::to_string(difference.before) + " to " + std::to_string(difference.after);
        }
        return words;
    }

    const CourseArguments& arguments;
    Watchdog watchdog;
    const std::string path;
    std::string stage = "create";
    std::optional<PlayedPlugin> player;
    int32_t blocks = 0;
    Preset preset{};
    size_t changed = 0;
    std::vector<Difference> differences;
    int refused = 0;
    int taken = 0;
};

int takeCourse(const CourseArguments& arguments, FILE* results) {
    PresetCourse course(arguments);
    if (const auto failure = failureOf([&] { course.run(); })) {
        std::fprintf(results, "failed in %s: %s%s\n", course.getStage().c_str(), failure->c_str(),
                     course.describeEnd().c_str());
        return EXIT_FAILURE;
    }
    course.print(results);
    return course.isGood() ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    constexpr size_t mostFiles = 100;
    return runCourse(argc, argv, {" PRESET [FILE...]", 1, 1 + mostFiles}, takeCourse);
}
