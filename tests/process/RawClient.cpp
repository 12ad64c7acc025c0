#include "process/RawClient.h"

#include "process/RawBlock.h"
#include "process/RawPipes.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<int32_t> nextHostId{1};

std::string readLine(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::vector<std::string> makeEnvironment(const HostOptions& options) {
    std::vector<std::string> result = options.environment;
    if (options.diesUnjoined) {
        for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            const char* value = getenv(name);
            result.push_back(std::string(name) + "=" + (value != nullptr ? std::string(value) + ":" : "") +
                             "handle_segv=0:handle_abort=0:report_thread_leaks=0");
        }
    }
    const size_t replaced = result.size();
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view entry = *variable;
        const std::string_view name = entry.substr(0, entry.find('=') + 1);
        if (std::none_of(result.begin(), result.begin() + static_cast<ptrdiff_t>(replaced),
                         [name](const std::string& own) { return own.starts_with(name); }))
            result.emplace_back(entry);
    }
    return result;
}

// Runs in the child.
void giveConsole(int console, int given, int file) {
    if (given == HostOptions::closed)
        close(console);
    else
        dup2(given == HostOptions::gathered ? file : given, console);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

RawClient::RawClient(HostOptions options)
    : options(std::move(options)), hostId(nextHostId++), workers(static_cast<size_t>(this->options.workers)) {
    // A host that is gone shows as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        makePipes();
        start();
        if (this->options.connects)
            connect();
    } catch (...) {
        release();
        throw;
    }
}

RawClient::~RawClient() {
    endInOrder();
    release();
}

void RawClient::send(const Bytes& frame) {
    sendAll(mainChannel.toHost, frame);
}

void RawClient::sendToWorker(int32_t worker, const Bytes& command) {
    sendAll(workers[static_cast<size_t>(worker)].toHost, command);
}

void RawClient::sendLeniently(const Bytes& stream) {
    sendSome(mainChannel.toHost, stream);
}

void RawClient::sendLenientlyToWorker(int32_t worker, const Bytes& stream) {
    sendSome(workers[static_cast<size_t>(worker)].toHost, stream);
}

Bytes RawClient::readMain(size_t size) {
    return readExactly(mainChannel.fromHost, size, "the main pipe");
}

Bytes RawClient::readAsync(size_t size) {
    return readExactly(asyncChannel, size, "the asynchronous pipe");
}

Bytes RawClient::readWorker(int32_t worker, size_t size) {
    return readExactly(workers[static_cast<size_t>(worker)].fromHost, size, "a worker's pipe");
}

bool RawClient::workerEnds(int32_t worker) {
    return endsWithoutAByte(workers[static_cast<size_t>(worker)].fromHost);
}

bool RawClient::mainEnds() {
    return endsWithoutAByte(mainChannel.fromHost);
}

void RawClient::synchronise() {
    send(bytes("0D"));
    if (readMain(1) != bytes("01"))
        throw std::runtime_error("a ping got another answer than 01");
}

Bytes RawClient::takeAsync() {
    Bytes data(65536);
    const ssize_t count = read(asyncChannel, data.data(), data.size());
    data.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return data;
}

int32_t RawClient::process(int32_t worker, int32_t instanceId, int32_t frames, bool keepActive) {
    sendToWorker(worker, bytes("02") + little(instanceId) + little(frames) + bytes(keepActive ? "01" : "00") +
                             bytes("01"));
    const Bytes answer = readWorker(worker, 4);
    return answer[0] << 24 | answer[1] << 16 | answer[2] << 8 | answer[3];
}

void RawClient::openWorker(int32_t worker) {
    Duplex& channel = workers[static_cast<size_t>(worker)];
    const std::string name = "worker" + std::to_string(worker);
    channel.fromHost = openForReading(name);
    channel.toHost = openForWriting(name);
    // A byte that means nothing, and that only a worker with both of its streams reads.
    sendToWorker(worker, bytes("03"));
    waitUntilTaken(worker);
}

void RawClient::waitUntilTaken() {
    waitUntilEmpty(mainChannel.toHost);
}

void RawClient::waitUntilTaken(int32_t worker) {
    waitUntilEmpty(workers[static_cast<size_t>(worker)].toHost);
}

void RawClient::closeMain() {
    closeDescriptor(mainChannel.toHost);
    closeDescriptor(mainChannel.fromHost);
}

void RawClient::closeMainReplies() {
    closeDescriptor(mainChannel.fromHost);
}

void RawClient::closeAsync() {
    closeDescriptor(asyncChannel);
}

void RawClient::closeWorker(int32_t worker) {
    closeDescriptor(workers[static_cast<size_t>(worker)].fromHost);
    closeWorkerCommands(worker);
}

void RawClient::closeWorkerCommands(int32_t worker) {
    closeDescriptor(workers[static_cast<size_t>(worker)].toHost);
}

void RawClient::closeAll() {
    for (int32_t worker = 0; worker < options.workers; ++worker)
        closeWorker(worker);
    closeMain();
    closeAsync();
}

int RawClient::waitForEnd(int seconds) {
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    while (!hasEnded()) {
        if (Clock::now() > deadline)
            throw std::runtime_error("the host doesn't end; its error stream: " + standardError());
        pauseShortly();
    }
    return status;
}

std::string RawClient::standardError() const {
    return readFile(standardErrorFile);
}

std::string RawClient::standardOutput() const {
    return readFile(standardOutputFile);
}

void RawClient::waitForError(const std::string& text) {
    waitUntil(("a line on the host's error stream: " + text).c_str(),
              [&] { return standardError().find(text) != std::string::npos; });
}

void RawClient::waitUntilWorkersRest() {
    const std::filesystem::path tasks = "/proc/" + std::to_string(hostProcess) + "/task";
    waitUntil("that the workers read", [&] {
        int32_t resting = 0;
        for (const auto& entry : std::filesystem::directory_iterator(tasks)) {
            const std::string status = readLine(entry.path() / "stat");
            resting += status.find("(RemoteAudioThre) S") != std::string::npos ? 1 : 0;
        }
        return resting == options.workers;
    });
}

std::vector<std::string> RawClient::threadNames() const {
    const std::string tasks = "/proc/" + std::to_string(hostProcess) + "/task/";
    std::vector<std::string> names{readLine(tasks + std::to_string(hostProcess) + "/comm")};
    for (const auto& entry : std::filesystem::directory_iterator(tasks)) {
        if (entry.path().filename() != std::to_string(hostProcess))
            names.push_back(readLine(entry.path() / "comm"));
    }
    return names;
}

pid_t RawClient::findThread(const std::string& name) const {
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(hostProcess) + "/task")) {
        if (readLine(entry.path() / "comm") == name)
            return std::stoi(entry.path().filename());
    }
    return 0;
}

void RawClient::makePipes() {
    const char* user = getenv("USER");
    directory = std::string("/tmp/pipes-") + (user != nullptr ? user : "") + "/tanvex/engine/plugin" +
                std::to_string(hostId);
    std::filesystem::create_directories(directory);
    std::vector<std::string> channels{"main-to-client", "main-from-client", "async-replies-from-client"};
    for (int32_t worker = 0; worker < options.workers; ++worker) {
        channels.push_back("worker" + std::to_string(worker) + "-to-client");
        channels.push_back("worker" + std::to_string(worker) + "-from-client");
    }
    for (const std::string& channel : channels) {
        const std::string path = directory + "/" + channel;
        unlink(path.c_str());
        if (mkfifo(path.c_str(), 0600) != 0)
            throw std::runtime_error("no FIFO " + path + ": " + std::strerror(errno));
    }
}

void RawClient::start() {
    standardOutputFile = memfd_create("standard-output", MFD_CLOEXEC);
    standardErrorFile = memfd_create("standard-error", MFD_CLOEXEC);
    std::vector<std::string> arguments{PLUGIN_HOST_EXECUTABLE, "host",
                                       options.sampleRate,     options.blockSize,
                                       std::to_string(hostId), std::to_string(options.workers)};
    const std::vector<char*> argumentList = pointersTo(arguments);
    std::vector<std::string> environment = makeEnvironment(options);
    const std::vector<char*> environmentList = pointersTo(environment);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    hostProcess = fork();
    if (hostProcess < 0)
        throw std::runtime_error("no process for the host");
    if (hostProcess == 0) {
        // Nothing here may allocate or lock.
        std::signal(SIGPIPE, SIG_DFL);
        if (options.diesWithClient)
            prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const auto& [resource, limit] : options.limits)
            setrlimit(static_cast<__rlimit_resource>(resource), &limit);
        dup2(nothing, 0);
        giveConsole(1, options.standardOutput, standardOutputFile);
        giveConsole(2, options.standardError, standardErrorFile);
        if (options.directory.empty() || chdir(options.directory.c_str()) == 0)
            execve(argumentList[0], argumentList.data(), environmentList.data());
        _exit(126);
    }
    close(nothing);
}

void RawClient::connect() {
    mainChannel.fromHost = openForReading("main");
    asyncChannel = openForReading("async-replies");
    mainChannel.toHost = openForWriting("main");
    for (int32_t worker = options.firstOpenWorker; worker < options.workers; ++worker)
        openWorker(worker);
    connected = true;
}

int RawClient::openForWriting(const std::string& channel) {
    const std::string path = directory + "/" + channel + "-to-client";
    const auto deadline = Clock::now() + patience;
    while (true) {
        // Fails for as long as nobody reads.
        const int descriptor = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (descriptor >= 0)
            return descriptor;
        if (hasEnded())
            throw std::runtime_error("the host ended before it opened " + channel + ": " + standardError());
        if (Clock::now() > deadline)
            throw std::runtime_error("the host doesn't open " + channel + " in time: " + standardError());
        pauseShortly();
    }
}

int RawClient::openForReading(const std::string& channel) const {
    const std::string path = directory + "/" + channel + "-from-client";
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        throw std::runtime_error("can't open " + path + ": " + std::strerror(errno));
    return descriptor;
}

void RawClient::waitUntilEmpty(int descriptor) {
    waitUntil("that the host reads what it was sent", [&] {
        int left = 0;
        // An error: nobody reads any more.
        pollfd event{descriptor, 0, 0};
        poll(&event, 1, 0);
        return (event.revents & POLLERR) != 0 || hasEnded() || ioctl(descriptor, FIONREAD, &left) != 0 ||
               left == 0;
    });
}

bool RawClient::endsWithoutAByte(int descriptor) {
    pollfd event{descriptor, POLLIN, 0};
    waitUntil("the end of a stream", [&] {
        // A host that has gone may never have opened it.
        const bool gone = hasEnded();
        return poll(&event, 1, 0) > 0 || gone;
    });
    return (event.revents & POLLIN) == 0;
}

bool RawClient::hasEnded() {
    if (!ended && waitpid(hostProcess, &status, WNOHANG) == hostProcess)
        ended = true;
    return ended;
}

void RawClient::endInOrder() {
    if (!connected || !options.ends)
        return;
    closeAll();
    try {
        waitForEnd();
    } catch (const std::exception& exception) {
        ADD_FAILURE() << exception.what();
    }
    // Beside AddressSanitizer, the other one writes into no file.
    const std::string errors = standardError();
    EXPECT_EQ(errors.find("runtime error: "), std::string::npos) << errors;
}

void RawClient::release() {
    if (hostProcess > 0 && !ended) {
        kill(hostProcess, SIGKILL);
        waitpid(hostProcess, &status, 0);
        ended = true;
    }
    closeAll();
    closeDescriptor(standardOutputFile);
    closeDescriptor(standardErrorFile);
    removeBlocks(hostId);
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void pauseShortly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void failWaiting(const char* what) {
    throw std::runtime_error(std::string("this didn't come in time: ") + what);
}
