// Preset files: a write that fails without a word is a sound that is lost.

#include "core/FileStreams.h"

#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/FileSystem.h"
#include "core/Ref.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

using namespace base::core;
using namespace test_support;

namespace {

/// What a file of the C library should do wrong.
struct Faults {
    bool read = false;
    bool write = false;
    bool close = false;
    int closes = 0;
};

/// A file of the C library without a device behind it.
FILE* openFaulty(Faults* faults, const char* mode) {
    cookie_io_functions_t functions{};
    functions.read = [](void* cookie, char* buffer, size_t) -> ssize_t {
        if (static_cast<Faults*>(cookie)->read) {
            errno = EIO;
            return -1;
        }
        *buffer = 'x';
        return 1;
    };
    functions.write = [](void* cookie, const char*, size_t size) -> ssize_t {
        if (static_cast<Faults*>(cookie)->write) {
            errno = ENOSPC;
            return 0;
        }
        return static_cast<ssize_t>(size);
    };
    functions.close = [](void* cookie) -> int {
        ++static_cast<Faults*>(cookie)->closes;
        if (!static_cast<Faults*>(cookie)->close)
            return 0;
        errno = EIO;
        return -1;
    };
    return fopencookie(faults, mode, functions);
}

class FileStreamsTest : public testing::Test {
protected:
    FileStreamsTest() {
        char pattern[] = "/tmp/plugin-host-streams-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            ADD_FAILURE() << "no directory to test in";
        root = pattern;
        path = (root + "/file").c_str();
    }
    ~FileStreamsTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    std::string content() const {
        std::ifstream file(path.toStdString(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void write(const std::string& text) const { std::ofstream(path.toStdString(), std::ios::binary) << text; }

    std::string root;
    String path;
    FileSystem& files = LocalFileSystem::get();
};

TEST_F(FileStreamsTest, AFileIsReadToItsEnd) {
    std::string data(5000, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 13);
    write(data);
    const Ref<InputStream> stream = files.openForReading(path);
    std::string read(data.size(), '\0');
    stream->readFully(read.data(), read.size());
    EXPECT_EQ(read, data);
    EXPECT_EQ(failureText<EOSException>([&] { stream->readByte(); }), "End of stream");
    stream->close();
}

TEST_F(FileStreamsTest, WritingReplacesAndAppendingAdds) {
    write("former text");
    Ref<OutputStream> stream = files.openForWriting(path, false);
    stream->writeText("new");
    stream->close();
    EXPECT_EQ(content(), "new");
    stream = files.openForWriting(path, true);
    stream->writeText(" and more");
    stream->close();
    EXPECT_EQ(content(), "new and more");
}

TEST_F(FileStreamsTest, ABufferedWriteReachesTheFileAtTheFlush) {
    const Ref<OutputStream> stream = files.openForWriting(path, false);
    stream->writeText("abc");
    EXPECT_EQ(content(), "");
    stream->flush();
    EXPECT_EQ(content(), "abc");
    stream->close();
}

TEST_F(FileStreamsTest, AReadErrorIsAFailure) {
    // A directory opens for reading, and then refuses.
    const Ref<InputStream> stream = files.openForReading(root.c_str());
    EXPECT_EQ(failureText<IOException>([&] { stream->readByte(); }), "Error reading from file");

    Faults faults;
    faults.read = true;
    const Ref<InputStream> faulty(new FileInputStream("f", openFaulty(&faults, "r")));
    EXPECT_EQ(failureText<IOException>([&] { faulty->readByte(); }), "Error reading from file");
    faulty->close();
}

TEST_F(FileStreamsTest, AReadersCloseThatFailsIsAFailure) {
    Faults faults;
    faults.close = true;
    const Ref<InputStream> stream(new FileInputStream("f", openFaulty(&faults, "r")));
    EXPECT_EQ(failureText<IOException>([&] { stream->close(); }), "Could not close file after reading");
    EXPECT_EQ(faults.closes, 1);
}

TEST_F(FileStreamsTest, AShortWriteIsAFailureThatNamesTheFile) {
    Faults faults;
    faults.write = true;
    const Ref<OutputStream> stream(new FileOutputStream("/some/file", openFaulty(&faults, "w")));
    const std::string data(100000, 'x'); // more than the C library buffers
    EXPECT_EQ(failureText<IOException>([&] { stream->write(data.data(), data.size()); }),
              "Error writing to file \"/some/file\": No space left on device");
}

TEST_F(FileStreamsTest, AFlushThatFailsIsAFailureThatNamesTheFile) {
    Faults faults;
    faults.write = true;
    const Ref<OutputStream> stream(new FileOutputStream("/some/file", openFaulty(&faults, "w")));
    stream->writeByte('x');
    EXPECT_EQ(failureText<IOException>([&] { stream->flush(); }),
              "Could not flush file \"/some/file\": No space left on device");
}

TEST_F(FileStreamsTest, AWritersCloseThatFailsIsAFailureThatNamesTheFile) {
    Faults faults;
    faults.close = true;
    const Ref<OutputStream> stream(new FileOutputStream("/some/file", openFaulty(&faults, "w")));
    EXPECT_EQ(failureText<IOException>([&] { stream->close(); }),
              "Could not close file \"/some/file\": Input/output error");
    EXPECT_EQ(faults.closes, 1);
}

TEST_F(FileStreamsTest, AFullDeviceIsToldAtTheCloseAndTheFileIsClosedAllTheSame) {
    const Ref<OutputStream> stream = files.openForWriting("/dev/full", false);
    stream->writeText("lost");
    EXPECT_EQ(failureText<IOException>([&] { stream->close(); }),
              "Could not flush file \"/dev/full\": No space left on device");
    int open = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        open += std::filesystem::read_symlink(entry.path(), ignored) == "/dev/full" ? 1 : 0;
    }
    EXPECT_EQ(open, 0);
}

TEST_F(FileStreamsTest, TheDestructorsCloseWhatIsStillOpenAndNeverThrow) {
    Faults faults;
    faults.close = true;
    {
        const Ref<InputStream> input(new FileInputStream("f", openFaulty(&faults, "r")));
        const Ref<OutputStream> output(new FileOutputStream("f", openFaulty(&faults, "w")));
    }
    EXPECT_EQ(faults.closes, 2);
}

TEST_F(FileStreamsTest, AClosedStreamRefusesWhateverIsAskedOfIt) {
    Faults faults;
    char byte = 0;
    const Ref<InputStream> input(new FileInputStream("f", openFaulty(&faults, "r")));
    input->close();
    EXPECT_EQ(failureText<IOException>([&] { input->read(&byte, 1); }), "Error reading from file");
    EXPECT_EQ(failureText<IOException>([&] { input->close(); }), "Could not close file after reading");
    const Ref<OutputStream> output(new FileOutputStream("f", openFaulty(&faults, "w")));
    output->close();
    EXPECT_THAT(failureText<IOException>([&] { output->write(&byte, 1); }),
                testing::StartsWith("Error writing to file \"f\""));
    EXPECT_THAT(failureText<IOException>([&] { output->flush(); }),
                testing::StartsWith("Could not flush file \"f\""));
    EXPECT_THAT(failureText<IOException>([&] { output->close(); }),
                testing::StartsWith("Could not close file \"f\""));
    EXPECT_EQ(faults.closes, 2);
}

TEST_F(FileStreamsTest, TheDestructorsPassOverWhatIsClosed) {
    Faults faults;
    {
        const Ref<InputStream> input(new FileInputStream("f", openFaulty(&faults, "r")));
        const Ref<OutputStream> output(new FileOutputStream("f", openFaulty(&faults, "w")));
        input->close();
        output->close();
    }
    EXPECT_EQ(faults.closes, 2);
}

} // namespace
