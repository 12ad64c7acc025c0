// If these fail, the application takes half a list or half a report for the whole, since nothing says that
// the disk is full, or sees the program crash where it could have read one line.

#include "app/CommandLine.h"
#include "app/PluginReport.h"
#include "app/ReportText.h"
#include "core/Exception.h"
#include "core/StdStreams.h"
#include "support/ChildProgram.h"

#include <cerrno>
#include <cstdio>
#include <fstream>

using namespace test_support;

namespace {

/// Whether each file of the code under test turns out to have found no room when it is closed, as one on
/// another machine may.
bool closesFail = false;

} // namespace

extern "C" {

int __real_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file) {
    const int result = __real_fclose(file);
    if (!closesFail)
        return result;
    errno = EDQUOT;
    return EOF;
}
}

namespace {

const std::string echoPath = EXAMPLE_PLUGIN_DIRECTORY "/echo.so";
const std::string vst3Path = EXAMPLE_PLUGIN_DIRECTORY "/echo.vst3";

constexpr const char* unwrittenList = "Could not write the list: Error writing data\n";
constexpr const char* unwrittenReport = "Could not write the report: Error writing data\n";
constexpr int failed = 255;

/// The program with its streams led elsewhere by the words of a shell.
ProgramResult runRedirected(const std::string& redirections, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-c", "exec \"$0\" \"$@\" " + redirections, PLUGIN_HOST_EXECUTABLE});
    return runProgram(arguments, {}, "/", "/bin/sh");
}

} // namespace

TEST(FullDisk, AListThatCannotBeWrittenSaysSoAndFails) {
    const ProgramResult result = runRedirected("> /dev/full", {"list", echoPath});
    EXPECT_EQ(result.error, unwrittenList);
    EXPECT_EQ(result.status, 1);
}

TEST(FullDisk, AListThatGoesNowhereSaysSoAndFails) {
    const ProgramResult result = runRedirected(">&-", {"list", echoPath});
    EXPECT_EQ(result.error, unwrittenList);
    EXPECT_EQ(result.status, 1);
}

TEST(FullDisk, AReportThatCannotBeWrittenSaysSoAndFails) {
    for (const char* redirection : {"> /dev/full", ">&-"}) {
        const ProgramResult result = runRedirected(redirection, {"info", echoPath});
        EXPECT_EQ(result.error, unwrittenReport) << redirection;
        EXPECT_EQ(result.status, failed) << redirection;
    }
}

TEST(FullDisk, AReportThatTheDiskHasNoRoomForSaysSoAndFails) {
    const ProgramResult result = runProgram({"info-file", "/dev/full", echoPath});
    EXPECT_EQ(result.error, "Could not write the report: Could not flush file \"/dev/full\": "
                            "No space left on device\n");
    EXPECT_EQ(result.status, failed);
}

TEST(FullDisk, AReportThatTurnsOutToHaveNoRoomWhenItIsClosedSaysSoAndFails) {
    const TestDirectory directory;
    const std::string report = directory / "report";
    const char* const arguments[] = {"plugin-host", "info-file", report.c_str(), echoPath.c_str()};
    EXPECT_EXIT((closesFail = true, runCommandLine(static_cast<int>(std::size(arguments)), arguments)),
                testing::ExitedWithCode(failed),
                "^Could not write the report: Could not close file \"" + report +
                    "\": Disk quota exceeded\n$");
}

TEST(FullDisk, AReportWhoseDirectoryIsMissingSaysSoAndFails) {
    const ProgramResult result = runProgram({"info-file", "/nowhere/report", echoPath});
    EXPECT_EQ(result.error,
              "Could not write the report: Could not open file \"/nowhere/report\" for writing: "
              "No such file or directory\n");
    EXPECT_EQ(result.status, failed);
}

TEST(FullDisk, AReportIntoAFileIsWholeWhereTheOutputDeviceIsFull) {
    // Its subcategory goes to the output device and not into the file.
    const TestDirectory directory;
    const ProgramResult result = runRedirected("> /dev/full", {"info-file", directory / "report", vst3Path});
    EXPECT_EQ(result.status, 0) << result.error;
    const std::string report = readFile(directory / "report");
    EXPECT_NE(report.find("\nDeviceTypes:audio_to_audio\n\n"), std::string::npos) << report;
}

TEST(FullDisk, AllConsolesMayBeMissing) {
    const TestDirectory directory;
    const ProgramResult result = runRedirected("<&- >&- 2>&-", {"info-file", directory / "report", echoPath});
    EXPECT_EQ(result.status, 0);
    const std::string report = readFile(directory / "report");
    EXPECT_EQ(report.substr(0, header(echoPath).size()), header(echoPath));
    EXPECT_EQ(report.substr(report.size() - 2), "\n\n");
}

TEST(FullDisk, UsageThatCannotBePrintedIsStillARefusal) {
    const ProgramResult result = runRedirected("> /dev/full 2> /dev/full", {"info"});
    EXPECT_EQ(result.status, failed);
}

namespace {

/// Takes so many bytes, and is full then.
class SmallDevice : public OutputStream {
public:
    explicit SmallDevice(size_t room) : room(room) {}
    void write(const void* buffer, size_t size) override {
        waiting.append(static_cast<const char*>(buffer), size);
    }
    void flush() override {
        const std::string text = std::exchange(waiting, {});
        if (written.size() + text.size() > room)
            throw IOException("Error writing data");
        written += text;
    }

    size_t room;
    std::string written;
    std::string waiting;
};

} // namespace

TEST(FullDisk, AReportWhoseFirstRecordFindsNoRoomFails) {
    const Ref<SmallDevice> device(new SmallDevice(header(echoPath).size() + 10));
    EXPECT_THROW(printPluginMetaData(echoPath.c_str(), *device), IOException);
    EXPECT_EQ(device->written, header(echoPath));
}
