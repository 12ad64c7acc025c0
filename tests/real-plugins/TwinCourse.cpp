// Plays the score to the same plug-in in two formats, and compares what comes out sample by sample. Without
// it, a format that is handed its blocks, its changes or its channels a little wrongly would only sound a
// little wrong.
//
//     twin-course [--seconds N] HOST PLUGIN OTHER-PLUGIN
//
// The parameters that have one name in both formats change together, from the values that they have in
// PLUGIN. Each of the two is played twice, in four hosts, so that a plug-in which doesn't sound twice the
// same is known as such.
//
// One line goes to the standard output, of which `greatest` is the greatest difference of two samples:
//
//     ok samples=102400 peak=0.512345 parameters=7 greatest=0
//
// Instead there may be "differs", or "differs by itself" from one run to the next, with the same pairs, or
// "failed" and what is wrong. The status is 0, or 1 when something failed, or 2 when the arguments are wrong.

#include "real-plugins/CourseProgram.h"
#include "real-plugins/PlayedPlugin.h"
#include "real-plugins/ScoreBlock.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr float tolerance = 1e-6F; // of full scale, or of the peak where that is higher

/// The parameters that change together, by their indices in either plug-in.
using Pairs = std::vector<std::array<int32_t, 2>>;

/// -1 unless exactly one parameter has the name.
int32_t findByName(const PlayedPlugin& player, const String& name) {
    const auto isMeant = [&](const Ref<ParameterInfo>& parameter) { return parameter->name == name; };
    const auto& parameters = player.parameters();
    if (std::count_if(parameters.begin(), parameters.end(), isMeant) != 1)
        return -1;
    return static_cast<int32_t>(std::find_if(parameters.begin(), parameters.end(), isMeant) -
                                parameters.begin());
}

Pairs findPairs(const PlayedPlugin& one, const PlayedPlugin& other) {
    Pairs pairs;
    for (const Ref<ParameterInfo>& parameter : one.parameters()) {
        const int32_t index = findByName(one, parameter->name);
        const int32_t otherIndex = findByName(other, parameter->name);
        if (index >= 0 && otherIndex >= 0)
            pairs.push_back({index, otherIndex});
    }
    return pairs;
}

/// The greatest difference of what two have played; one that is no number counts as infinite.
float compare(PluginAudioContext& one, PluginAudioContext& other) {
    float greatest = 0;
    for (int32_t channel = 0; channel < one.outputChannelCount; ++channel) {
        for (int32_t frame = 0; frame < one.blockSize; ++frame) {
            const float sample = one.outputChannel(channel)[frame];
            const float otherSample = other.outputChannel(channel)[frame];
            if (sample == otherSample)
                continue;
            const float difference = std::abs(sample - otherSample);
            greatest = std::isfinite(difference) ? std::max(greatest, difference) : INFINITY;
        }
    }
    return greatest;
}

float findPeak(PluginAudioContext& context) {
    float peak = 0;
    for (int32_t channel = 0; channel < context.outputChannelCount; ++channel) {
        for (int32_t frame = 0; frame < context.blockSize; ++frame)
            peak = std::max(peak, std::abs(context.outputChannel(channel)[frame]));
    }
    return peak;
}

/// Two players of either plug-in.
class TwinCourse {
public:
    explicit TwinCourse(const CourseArguments& arguments)
        : players{playTwice(arguments.host, arguments.plugin),
                  playTwice(arguments.host, std::filesystem::absolute(arguments.others[0]))},
          pairs(findPairs(players[0][0], players[1][0])) {}

    void run() {
        const PluginAudioContext& first = players[0][0].block();
        const PluginAudioContext& second = players[1][0].block();
        if (first.inputChannelCount != second.inputChannelCount ||
            first.outputChannelCount != second.outputChannelCount)
            throw std::runtime_error("the two have other channels");
        for (int32_t block = 0; block < score::blocks; ++block)
            playBlock(block);
        for (Runs& format : players) {
            for (PlayedPlugin& player : format)
                player.end();
        }
    }

    void print(FILE* results) {
        const char* verdict = own > 0                                        ? "differs by itself"
                              : greatest <= tolerance * std::max(peak, 1.0F) ? "ok"
                                                                             : "differs";
        const PluginAudioContext& context = players[0][0].block();
        std::fprintf(results, "%s samples=%d peak=%.6f parameters=%d greatest=%.3g\n", verdict,
                     score::blocks * context.blockSize * context.outputChannelCount,
                     static_cast<double>(peak), static_cast<int>(pairs.size()),
                     static_cast<double>(greatest));
    }

private:
    using Runs = std::array<PlayedPlugin, 2>;

    static Runs playTwice(const std::string& host, const std::string& plugin) {
        return {PlayedPlugin(host, plugin), PlayedPlugin(host, plugin)};
    }

    void playBlock(int32_t block) {
        for (size_t format = 0; format < players.size(); ++format) {
            for (PlayedPlugin& player : players[format]) {
                writeBlock(player.block(), block);
                addChanges(player.block(), format, block);
                player.playBlock();
            }
        }
        peak = std::max(peak, findPeak(players[0][0].block()));
        greatest = std::max(greatest, compare(players[0][0].block(), players[1][0].block()));
        for (Runs& format : players)
            own = std::max(own, compare(format[0].block(), format[1].block()));
    }

    void addChanges(PluginAudioContext& context, size_t format, int32_t block) const {
        if (block == 0) {
            for (const auto& pair : pairs)
                addChange(context, pair[format],
                          players[0][0].parameters()[static_cast<size_t>(pair[0])]->value);
        } else if (const auto change = score::parameterChangeAt(block, static_cast<int32_t>(pairs.size()))) {
            addChange(context, pairs[static_cast<size_t>(change->index)][format], change->value);
        }
    }

    std::array<Runs, 2> players;
    const Pairs pairs;
    float peak = 0;
    float greatest = 0;
    float own = 0;
};

int takeCourse(const CourseArguments& arguments, FILE* results) {
    const Watchdog watchdog(arguments.seconds);
    const auto failure = failureOf([&] {
        TwinCourse course(arguments);
        course.run();
        course.print(results);
    });
    if (failure)
        std::fprintf(results, "failed: %s\n", failure->c_str());
    return failure ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    return runCourse(argc, argv, {" OTHER-PLUGIN", 1, 1}, takeCourse);
}
