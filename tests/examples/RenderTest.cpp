// The renderer among the examples. If these fail, a user who renders loses the file that he renders from or
// an earlier rendering, or takes a file that was cut short or plays at the wrong pitch for a good one.

#include "support/ChildProgram.h"
#include "support/RealDeaths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <sndfile.h>

using namespace test_support;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

const std::string echo = EXAMPLE_PLUGIN_DIRECTORY "/echo.so";
const std::string tone = EXAMPLE_PLUGIN_DIRECTORY "/tone.so";

struct SoundFile {
    SF_INFO info{};
    std::vector<float> samples;
};

class RenderTest : public testing::Test {
protected:
    /// Half a second of a sine at this rate.
    std::string makeInput(const std::string& name, int rate) const {
        std::string path = directory / name;
        SF_INFO info{};
        info.channels = 1;
        info.samplerate = rate;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
        SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
        std::vector<float> samples(static_cast<size_t>(rate) / 2);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = 0.5F * std::sin(0.0627F * static_cast<float>(i));
        sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(file);
        return path;
    }

    /// Without channels if the file can't be read.
    static SoundFile read(const std::string& path) {
        SoundFile sound;
        if (SNDFILE* file = sf_open(path.c_str(), SFM_READ, &sound.info)) {
            sound.samples.resize(static_cast<size_t>(sound.info.frames * sound.info.channels));
            sf_readf_float(file, sound.samples.data(), sound.info.frames);
            sf_close(file);
        }
        return sound;
    }

    static std::string contents(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(directory / name) << text;
    }

    ProgramResult render(const std::vector<std::string>& arguments) const {
        return runProgram(arguments, environment, directory.path, RENDER_EXECUTABLE);
    }

    /// By a shell that has set something up before.
    ProgramResult renderAfter(const std::string& commands, const std::vector<std::string>& arguments) const {
        std::vector<std::string> words{"-c", commands + "; exec \"$0\" \"$@\"", RENDER_EXECUTABLE};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return runProgram(words, environment, directory.path, "/bin/bash");
    }

    /// The renderer's own words, which are a line.
    static std::string complaint(const std::string& error) {
        const size_t start = error.find("render: ");
        if (start == std::string::npos)
            return "nothing";
        const size_t end = error.find('\n', start);
        EXPECT_EQ(error.find("render: ", end), std::string::npos) << error;
        return error.substr(start, end - start);
    }

    /// All that stands in the directory, in order.
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(directory.path))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    const TestDirectory directory;
    const TestDirectory cache;
    const ChildProgram::Environment environment{{"XDG_CACHE_HOME", cache.path}};
    const RealDeaths realDeaths{};
};

} // namespace

TEST_F(RenderTest, AFileIsRenderedToItsEndAndTheTailOfThePlugin) {
    const std::string input = makeInput("in.wav", 44100);
    const ProgramResult result = render({echo, "in.wav", "out.wav"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, EndsWith("written           out.wav\n"));
    const SoundFile sound = read(directory / "out.wav");
    EXPECT_EQ(sound.info.samplerate, 44100);
    EXPECT_EQ(sound.info.channels, 2);
    EXPECT_GT(sound.info.frames, 22050);
    ASSERT_FALSE(sound.samples.empty());
    EXPECT_GT(*std::max_element(sound.samples.begin(), sound.samples.end()), 0.1F);
    EXPECT_THAT(files(), testing::ElementsAre("in.wav", "out.wav"));
}

TEST_F(RenderTest, AnInstrumentPlaysAPhraseWithoutAnInput) {
    const ProgramResult result = render({tone, "", "out.wav"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_GT(read(directory / "out.wav").info.frames, 44100);
}

TEST_F(RenderTest, TheOneFileAsInputAndOutputIsRefusedAndStays) {
    makeInput("in.wav", 44100);
    fs::create_symlink("in.wav", directory / "soft.wav");
    fs::create_hard_link(directory / "in.wav", directory / "hard.wav");
    const std::string before = contents(directory / "in.wav");
    for (const std::string output : {"in.wav", "soft.wav", "hard.wav", "./in.wav"}) {
        const ProgramResult result = render({echo, "in.wav", output});
        EXPECT_EQ(result.status, 1) << output;
        EXPECT_EQ(result.error, "render: The output would replace in.wav, which is read\n");
        EXPECT_EQ(contents(directory / "in.wav"), before) << output;
    }
    EXPECT_THAT(files(), testing::ElementsAre("hard.wav", "in.wav", "soft.wav"));
}

TEST_F(RenderTest, ThePluginIsNoOutputEither) {
    fs::copy_file(echo, directory / "echo.so");
    const ProgramResult result = render({"echo.so", "", "echo.so"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, StartsWith("render: The output would replace "));
    EXPECT_EQ(fs::file_size(directory / "echo.so"), fs::file_size(echo));
}

TEST_F(RenderTest, AFileOfAnotherRateIsPlayedAtThatRate) {
    makeInput("in.wav", 48000);
    const ProgramResult result = render({echo, "in.wav", "out.wav"});
    EXPECT_EQ(result.status, 0) << result.error;
    const SoundFile sound = read(directory / "out.wav");
    EXPECT_EQ(sound.info.samplerate, 48000);
    EXPECT_GT(sound.info.frames, 24000);
}

TEST_F(RenderTest, AFileOfAnotherRateThanTheOptionNamesIsRefusedWithBothRates) {
    makeInput("in.wav", 48000);
    const ProgramResult result = render({"--rate", "44100", echo, "in.wav", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error,
              "render: in.wav has 48000 Hz and would be played at 44100 Hz: convert it first\n");
    EXPECT_FALSE(fs::exists(directory / "out.wav"));
}

TEST_F(RenderTest, AFileOfTheRateThatTheOptionNamesIsPlayed) {
    makeInput("in.wav", 48000);
    const ProgramResult result = render({"--rate", "48000", echo, "in.wav", "out.wav"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(read(directory / "out.wav").info.samplerate, 48000);
}

TEST_F(RenderTest, ASignalOfItsOwnHasTheRateAndTheBlocksOfTheOptions) {
    const ProgramResult result = render({"--rate", "96000", "--block", "1000", tone, "", "out.wav"});
    EXPECT_EQ(result.status, 0) << result.error;
    const SoundFile sound = read(directory / "out.wav");
    EXPECT_EQ(sound.info.samplerate, 96000);
    EXPECT_GT(sound.info.frames, 96000);
    EXPECT_EQ(sound.info.frames % 1000, 0);
}

TEST_F(RenderTest, ARateOrABlockThatIsNoNumberAboveZeroIsTheUsage) {
    for (const std::string number : {"", "0", "-1", "44100Hz", "99999999999"}) {
        EXPECT_THAT(render({"--rate", number, echo}).error, StartsWith("render: Usage: ")) << number;
        EXPECT_THAT(render({"--block", number, echo}).error, StartsWith("render: Usage: ")) << number;
    }
}

TEST_F(RenderTest, ARateThatNoHostHasIsAnError) {
    const ProgramResult result = render({"--rate", "1000001", echo, "", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(complaint(result.error), "render: sample_rate is out of range");
}

TEST_F(RenderTest, AnEarlierRenderingStaysWhereThePluginDoesNotPlay) {
    write("out.wav", "earlier");
    write("broken.so", "no library");
    const ProgramResult result = render({"broken.so", "", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(complaint(result.error), StartsWith("render: Failed to load VST plug-in "));
    EXPECT_EQ(contents(directory / "out.wav"), "earlier");
    EXPECT_THAT(files(), testing::ElementsAre("broken.so", "out.wav"));
}

TEST_F(RenderTest, AnInputThatCannotBeReadIsNamed) {
    write("out.wav", "earlier");
    const ProgramResult result = render({echo, "missing.wav", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, StartsWith("render: Could not read missing.wav: "));
    EXPECT_EQ(contents(directory / "out.wav"), "earlier");
}

TEST_F(RenderTest, AHostThatDiesIsCalledThatWithItsPluginAndAnEarlierRenderingStays) {
    const std::string plugin = TEST_PLUGIN_DIRECTORY "/crashes-in-process.so";
    write("out.wav", "earlier");
    const ProgramResult result = render({plugin, "", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(complaint(result.error), "render: The host of " + plugin + " died: Segmentation fault");
    EXPECT_THAT(result.error, testing::Not(HasSubstr("render: End of stream")));
    EXPECT_EQ(contents(directory / "out.wav"), "earlier");
    EXPECT_THAT(files(), testing::ElementsAre("out.wav"));
}

TEST_F(RenderTest, AHostThatAPluginLeavesIsCalledDeadWithItsStatus) {
    const std::string plugin = TEST_PLUGIN_DIRECTORY "/exits-at-create.so";
    const ProgramResult result = render({plugin, "", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(complaint(result.error), "render: The host of " + plugin + " died: it exited with 3");
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(RenderTest, AWriteThatFailsIsAnErrorAndLeavesAnEarlierRendering) {
    write("out.wav", "earlier");
    // Enough for the host's shared memory, and less than the sound takes.
    const ProgramResult result = renderAfter("trap '' XFSZ; ulimit -f 300", {echo, "", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(complaint(result.error), StartsWith("render: Could not write out.wav: "));
    EXPECT_EQ(contents(directory / "out.wav"), "earlier");
    EXPECT_THAT(files(), testing::ElementsAre("out.wav"));
}

TEST_F(RenderTest, ADeviceThatIsFullIsAnError) {
    const ProgramResult result = render({echo, "", "/dev/full"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(complaint(result.error), StartsWith("render: Could not write /dev/full: "));
}

TEST_F(RenderTest, ADirectoryThatIsMissingIsNamed) {
    const ProgramResult result = render({echo, "", "missing/out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(complaint(result.error), "render: Could not write missing/out.wav: No such file or directory");
}

TEST_F(RenderTest, ALinkKeepsItsPlaceAndLeadsToTheRendering) {
    fs::create_directory(directory / "elsewhere");
    write("elsewhere/out.wav", "earlier");
    fs::create_symlink("elsewhere/out.wav", directory / "out.wav");
    const ProgramResult result = render({tone, "", "out.wav"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_TRUE(fs::is_symlink(directory / "out.wav"));
    EXPECT_GT(read(directory / "elsewhere/out.wav").info.frames, 44100);
}

TEST_F(RenderTest, FiguresThatCannotBePrintedAreAnErrorAndTheRenderingStands) {
    const ProgramResult result = renderAfter("exec >/dev/full", {tone, "", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(complaint(result.error), HasSubstr("standard output"));
    EXPECT_GT(read(directory / "out.wav").info.frames, 44100);
}

TEST_F(RenderTest, AnUnknownOptionIsTheUsage) {
    const ProgramResult result = render({"--identfier", "1", echo});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, StartsWith("render: Usage: "));
}
