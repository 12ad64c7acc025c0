// The smallest clients, which applications in other languages begin with: if these fail, what a reader copies
// doesn't play.

#include "support/ChildProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sndfile.h>

using namespace test_support;
using testing::HasSubstr;

namespace {

const std::string exampleEcho = EXAMPLE_PLUGIN_DIRECTORY "/echo.so";

class ClientsTest : public testing::Test {
protected:
    ProgramResult run(const std::string& program, const std::vector<std::string>& arguments) const {
        return runProgram(arguments, {{"XDG_CACHE_HOME", directory.path}}, directory.path, program);
    }

    const TestDirectory directory;
};

} // namespace

TEST_F(ClientsTest, InBothLanguagesPrintTheSamePeak) {
    for (const char* program : {SMALLEST_CLIENT_EXECUTABLE, SMALLEST_CLIENT_C_EXECUTABLE}) {
        const ProgramResult result = run(program, {PLUGIN_HOST_EXECUTABLE, exampleEcho});
        EXPECT_EQ(result.status, 0) << result.error;
        // The echo comes later, so this is the dry part alone.
        EXPECT_EQ(result.output, "peak 0.6\n") << program;
    }
}

TEST_F(ClientsTest, SayWhyThereIsNoPlugin) {
    for (const char* program : {SMALLEST_CLIENT_EXECUTABLE, SMALLEST_CLIENT_C_EXECUTABLE}) {
        const ProgramResult result = run(program, {PLUGIN_HOST_EXECUTABLE, "/missing.so"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.error, HasSubstr("/missing.so")) << program;
        EXPECT_EQ(run(program, {PLUGIN_HOST_EXECUTABLE}).status, 2);
    }
}

#ifdef PYTHON_EXECUTABLE

// The interpreter has 64 bits: these are tests of that build.
TEST_F(ClientsTest, InPythonRendersAFileAtItsRate) {
    SF_INFO info{};
    info.channels = 1;
    info.samplerate = 48000;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open((directory / "in.wav").c_str(), SFM_WRITE, &info);
    std::vector<float> samples(1000, 0.5F);
    sf_writef_float(file, samples.data(), 1000);
    sf_close(file);
    const std::vector<std::string> arguments{PYTHON_RENDERER, LIBRARY_FILE, PLUGIN_HOST_EXECUTABLE,
                                             exampleEcho,     "in.wav",     "out.wav"};
    const ProgramResult result = run(PYTHON_EXECUTABLE, arguments);
    EXPECT_EQ(result.status, 0) << result.error;
    file = sf_open((directory / "out.wav").c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr) << result.error;
    EXPECT_EQ(info.samplerate, 48000);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.frames, 1000);
    float frame[2]{};
    EXPECT_EQ(sf_readf_float(file, frame, 1), 1);
    EXPECT_NEAR(frame[0], 0.3F, 0.001F); // dry
    EXPECT_NEAR(frame[1], 0.3F, 0.001F);
    sf_close(file);
}

TEST_F(ClientsTest, InPythonSaysWhyThereIsNoPlugin) {
    std::ofstream(directory / "in.wav", std::ios::binary) << std::string(
        "RIFF\x28\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x44\xAC\0\0\x88\x58\1\0\2\0\x10\0data\4\0\0\0\0\0\0\0", 48);
    const ProgramResult result =
        run(PYTHON_EXECUTABLE,
            {PYTHON_RENDERER, LIBRARY_FILE, PLUGIN_HOST_EXECUTABLE, "/missing.so", "in.wav", "out.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, HasSubstr("/missing.so"));
}

#endif
