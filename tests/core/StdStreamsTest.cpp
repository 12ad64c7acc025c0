// The console: the log is all that a user has when something fails, and its lines must stay whole.

#include "core/StdStreams.h"

#include "RecordingStreams.h"
#include "support/CapturedOutput.h"
#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/Ref.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <iostream>
#include <latch>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

/// A device of the standard library that has nothing at hand until it is waited for.
class SlowDevice : public std::streambuf {
public:
    explicit SlowDevice(const std::string& text) : text(text) {}
    int waits = 0;

protected:
    int_type underflow() override {
        ++waits;
        if (given)
            return traits_type::eof();
        given = true;
        setg(text.data(), text.data(), text.data() + text.size());
        return traits_type::to_int_type(text.front());
    }

private:
    std::string text;
    bool given = false;
};

class BrokenDevice : public std::streambuf {
protected:
    int_type underflow() override { throw std::runtime_error("broken"); }
    int_type overflow(int_type) override { return traits_type::eof(); }
    std::streamsize xsputn(const char*, std::streamsize) override { return 0; }
};

std::string readOnce(InputStream& stream, size_t size) {
    std::string text(size, '\0');
    text.resize(stream.read(text.data(), size));
    return text;
}

TEST(StdInputStreamTest, WhatIsAtHandIsDelivered) {
    std::istringstream device("abcdef");
    const Ref<InputStream> stream(new StdInputStream(&device));
    EXPECT_EQ(readOnce(*stream, 4), "abcd");
    EXPECT_EQ(readOnce(*stream, 4), "ef");
    EXPECT_EQ(readOnce(*stream, 4), "");
    EXPECT_EQ(readOnce(*stream, 4), "");
}

TEST(StdInputStreamTest, WithNothingAtHandAReadWaitsForAByteAndTakesWhatCameWithIt) {
    SlowDevice device("abc");
    std::istream input(&device);
    const Ref<InputStream> stream(new StdInputStream(&input));
    EXPECT_EQ(readOnce(*stream, 10), "abc");
    EXPECT_EQ(device.waits, 1);
    EXPECT_EQ(readOnce(*stream, 10), "");
}

TEST(StdInputStreamTest, ABrokenDeviceIsAFailure) {
    BrokenDevice device;
    std::istream input(&device);
    const Ref<InputStream> stream(new StdInputStream(&input));
    EXPECT_EQ(failureText<IOException>([&] { readOnce(*stream, 1); }), "Error reading from stream");
}

TEST(StdOutputStreamTest, BytesGoToTheDevice) {
    std::ostringstream device;
    const Ref<OutputStream> stream(new StdOutputStream(&device));
    stream->write("a\0b", 3);
    stream->writeByte('c');
    EXPECT_EQ(device.str(), std::string("a\0bc", 4));
}

TEST(StdOutputStreamTest, ABrokenDeviceIsAFailureThatReleasesTheMutex) {
    BrokenDevice device;
    std::ostream output(&device);
    const Ref<OutputStream> stream(new StdOutputStream(&output));
    EXPECT_EQ(failureText<IOException>([&] { stream->write("a", 1); }), "Error writing data");
    EXPECT_EQ(failureText<IOException>([&] { stream->printLine("a"); }), "Error writing data");
    std::promise<void> written;
    std::thread other([&, stream] {
        EXPECT_THROW(stream->write("a", 1), IOException);
        written.set_value();
    });
    if (written.get_future().wait_for(usualBound) != std::future_status::ready) {
        ADD_FAILURE() << "another thread waits for the mutex";
        _exit(EXIT_FAILURE);
    }
    other.join();
}

TEST(StdOutputStreamTest, AFailureIsOverOnceItIsThrown) {
    class Mending : public std::stringbuf {
    public:
        bool broken = true;

    protected:
        std::streamsize xsputn(const char* bytes, std::streamsize count) override {
            return broken ? 0 : std::stringbuf::xsputn(bytes, count);
        }
        int sync() override { return broken ? -1 : 0; }
    } device;
    std::ostream output(&device);
    const Ref<OutputStream> stream(new StdOutputStream(&output));
    EXPECT_EQ(failureText<IOException>([&] { stream->write("a", 1); }), "Error writing data");
    EXPECT_EQ(failureText<IOException>([&] { stream->flush(); }), "Error writing data");
    device.broken = false;
    stream->write("b", 1);
    stream->flush();
    EXPECT_EQ(device.str(), "b");
}

TEST(StdOutputStreamTest, ALineIsOneWriteOfTheDeviceAndOneFlush) {
    class Recording : public std::streambuf {
    public:
        std::vector<std::string> calls;

    protected:
        std::streamsize xsputn(const char* bytes, std::streamsize count) override {
            calls.emplace_back(bytes, static_cast<size_t>(count));
            return count;
        }
        int sync() override {
            calls.emplace_back("flush");
            return 0;
        }
    } device;
    std::ostream output(&device);
    const Ref<OutputStream> stream(new StdOutputStream(&output));
    stream->printLine("na\xC3\xAFve");
    stream->printLine(String("b"));
    stream->printLine(StringBuilder("c"));
    stream->writeLine("d", UTF16BEEncoding::instance);
    EXPECT_EQ(device.calls, (std::vector<std::string>{"na\xC3\xAFve\n", "flush", "b\n", "flush", "c\n",
                                                      "flush", std::string("\0d\0\n", 4), "flush"}));
}

TEST(StdOutputStreamTest, ALineThatCannotBeEncodedLeavesNoPartOfItself) {
    std::ostringstream device;
    const Ref<OutputStream> stream(new StdOutputStream(&device));
    EXPECT_THROW(stream->printLine("abc\xFF"), IOException);
    EXPECT_THROW(stream->writeLine("abc\xC3\xA9", ASCIIEncoding::instance), IOException);
    stream->printLine("next");
    EXPECT_EQ(device.str(), "next\n");
}

TEST(StdOutputStreamTest, AFlushReachesTheDevice) {
    class Counting : public std::stringbuf {
    public:
        int syncs = 0;

    protected:
        int sync() override {
            ++syncs;
            return 0;
        }
    } device;
    std::ostream output(&device);
    const Ref<OutputStream> stream(new StdOutputStream(&output));
    stream->write("a", 1);
    EXPECT_EQ(device.syncs, 0);
    stream->flush();
    EXPECT_EQ(device.syncs, 1);
    stream->printLine("b");
    EXPECT_EQ(device.syncs, 2);
}

TEST(StdOutputStreamTest, AStreamThatFlushesOnWriteHandsEachWriteOn) {
    class Counting : public std::stringbuf {
    public:
        int syncs = 0;

    protected:
        int sync() override {
            ++syncs;
            return 0;
        }
    } device;
    std::ostream output(&device);
    const Ref<OutputStream> stream(new StdOutputStream(&output, true));
    stream->write("a", 1);
    stream->write("b", 1);
    EXPECT_EQ(device.syncs, 2);
}

/// Lets `print` write 300 lines of its own on each of four threads, and counts the lines that came out.
template <class Print>
std::map<std::string, int> linesOfFourThreads(const Print& print) {
    std::ostringstream device;
    const Ref<OutputStream> stream(new StdOutputStream(&device));
    std::latch ready(4);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            const std::string line(static_cast<size_t>(20 + i), static_cast<char>('a' + i));
            ready.arrive_and_wait();
            for (int round = 0; round < 300; ++round)
                print(*stream, line.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    std::map<std::string, int> lines;
    std::istringstream written(device.str());
    for (std::string line; std::getline(written, line);)
        ++lines[line];
    return lines;
}

const std::map<std::string, int> wholeLines = {{std::string(20, 'a'), 300},
                                               {std::string(21, 'b'), 300},
                                               {std::string(22, 'c'), 300},
                                               {std::string(23, 'd'), 300}};

TEST(StdOutputStreamTest, PrintedLinesOfSeveralThreadsStayWhole) {
    EXPECT_EQ(linesOfFourThreads([](OutputStream& stream, const char* text) { stream.printLine(text); }),
              wholeLines);
    EXPECT_EQ(
        linesOfFourThreads([](OutputStream& stream, const char* text) { stream.printLine(String(text)); }),
        wholeLines);
}

TEST(StdOutputStreamTest, PrintedLinesOfBuildersStayWholeToo) {
    EXPECT_EQ(linesOfFourThreads(
                  [](OutputStream& stream, const char* text) { stream.printLine(StringBuilder(text)); }),
              wholeLines);
}

TEST(StdOutputStreamTest, WrittenLinesOfSeveralThreadsStayWhole) {
    EXPECT_EQ(linesOfFourThreads([](OutputStream& stream, const char* text) {
                  stream.writeLine(text, UTF8Encoding::instance);
              }),
              wholeLines);
    EXPECT_EQ(linesOfFourThreads([](OutputStream& stream, const char* text) {
                  stream.writeLine(String(text), UTF8Encoding::instance);
              }),
              wholeLines);
}

TEST(StdStringOutputStreamTest, BytesAreAppended) {
    std::string text("head ");
    const Ref<OutputStream> stream(new StdStringOutputStream(&text));
    stream->write("a\0b", 3);
    stream->writeText("\xC3\xA9");
    stream->flush();
    stream->close();
    stream->writeByte('!');
    EXPECT_EQ(text, std::string("head a\0b\xC3\xA9!", 11));
    EXPECT_FALSE(stream->hasDevice());
}

TEST(ConsoleTest, EachConsoleIsOneStreamOnEveryThread) {
    std::set<const Object*> seen[3];
    std::vector<std::thread> threads;
    Mutex mutex;
    std::latch ready(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            ready.arrive_and_wait();
            const Object* consoles[3] = {&standardError(), &standardOutput(), &standardInput()};
            const ScopedLock lock(mutex);
            for (int console = 0; console < 3; ++console)
                seen[console].insert(consoles[console]);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& streams : seen)
        EXPECT_EQ(streams.size(), 1u);
    EXPECT_NE(*seen[0].begin(), *seen[1].begin());
}

TEST(ConsoleTest, TheStandardErrorStreamIsTheErrorDevice) {
    const CapturedOutput captured(STDERR_FILENO);
    standardError().printLine("na\xC3\xAFve");
    EXPECT_EQ(captured.text(), "na\xC3\xAFve\n");
}

TEST(ConsoleTest, TheStandardOutputStreamIsTheOutputDeviceAndFlushesItsLines) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int former = dup(STDOUT_FILENO);
    std::cout.flush();
    dup2(ends[1], STDOUT_FILENO);
    standardOutput().printLine("na\xC3\xAFve");
    dup2(former, STDOUT_FILENO);
    close(former);
    close(ends[1]);
    char buffer[64];
    const ssize_t count = read(ends[0], buffer, sizeof buffer);
    close(ends[0]);
    ASSERT_GT(count, 0);
    EXPECT_EQ(std::string(buffer, static_cast<size_t>(count)), "na\xC3\xAFve\n");
}

TEST(ConsoleTest, TheLibrarysOwnStreamsStayAsPluginsKnowThem) {
    standardError();
    standardOutput();
    standardInput();
    EXPECT_EQ(std::cerr.tie(), &std::cout);
    EXPECT_EQ(std::cin.tie(), &std::cout);
    EXPECT_TRUE(std::ios::sync_with_stdio(true)) << "their buffers are not for several threads";
}

TEST(ConsoleTest, WhatIsWrittenWaitsForTheFlush) {
    const CapturedOutput captured(STDOUT_FILENO);
    standardOutput().writeText("a");
    EXPECT_EQ(captured.text(), "");
    standardOutput().flush();
    EXPECT_EQ(captured.text(), "a");
}

TEST(ConsoleTest, TheConsolesAreUtf8AndBigEndian) {
    EXPECT_EQ(&standardError().getTextEncoding(), &UTF8Encoding::instance);
    EXPECT_EQ(&standardOutput().getTextEncoding(), &UTF8Encoding::instance);
    EXPECT_EQ(&standardInput().getTextEncoding(), &UTF8Encoding::instance);
    const CapturedOutput captured(STDERR_FILENO);
    standardError().writeInt32(0x61626364);
    standardError().flush();
    EXPECT_EQ(captured.text(), "abcd");
}

TEST(ConsoleTest, TheStandardInputStreamReadsWhatIsTyped) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "yes\n", 4), 4);
    close(ends[1]);
    const int former = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    EXPECT_EQ(standardInput().readLine().toStdString(), "yes");
    dup2(former, STDIN_FILENO);
    close(former);
}

} // namespace
