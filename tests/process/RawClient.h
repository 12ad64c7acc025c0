#pragma once

#include "process/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>
#include <utility>
#include <vector>

/// How a `RawClient` starts its host.
struct HostOptions {
    int32_t workers = 1;
    std::string sampleRate = "44100";
    std::string blockSize = "256";
    /// Workers below this index get FIFOs that the client doesn't open by itself.
    int32_t firstOpenWorker = 0;
    /// "NAME=value" each; replaces what the test has under that name.
    std::vector<std::string> environment = {};
    /// For a host that may end by a fault or an exception: the sanitizers leave its signals alone, and don't
    /// mind that nobody joined its threads.
    bool diesUnjoined = false;
    /// Limits of the child, by resource.
    std::vector<std::pair<int, rlimit>> limits = {};
    /// Where the child works; empty for here.
    std::string directory = {};
    /// Off for a host that has to notice by itself that its client is gone.
    bool diesWithClient = true;
    /// What the host gets as its consoles, instead of a file that keeps what it writes; `closed` for nothing.
    int standardOutput = gathered;
    int standardError = gathered;
    static constexpr int gathered = -1;
    static constexpr int closed = -2;
    /// Off for a host that ends before it opens its pipes, or whose pipes are opened later.
    bool connects = true;
    /// Off for a host that can't end, because its plug-in keeps it.
    bool ends = true;
};

/// The other end of a host's pipes. It shares no code with the product, nor with the kit of the tests, so
/// that a mistake on the wire is not made on both sides: makes the FIFOs, starts the host, and moves raw
/// bytes. Every wait has a bound and throws `std::runtime_error` with words when it is over. The host and the
/// FIFOs are gone when this is: a host that still runs loses its pipes and comes to its own end, at which
/// sanitizers report; one that doesn't is a failure of the test.
class RawClient {
public:
    explicit RawClient(HostOptions options = {});
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    int32_t getHostId() const { return hostId; }
    pid_t getHostProcess() const { return hostProcess; }

    void send(const Bytes& frame);
    void sendToWorker(int32_t worker, const Bytes& command);
    /// As much as fits, of a stream that the host may have stopped to read.
    void sendLeniently(const Bytes& stream);
    void sendLenientlyToWorker(int32_t worker, const Bytes& stream);

    Bytes readMain(size_t size);
    Bytes readAsync(size_t size);
    Bytes readWorker(int32_t worker, size_t size);
    /// Whether the worker's answers end without another byte.
    bool workerEnds(int32_t worker);
    bool mainEnds();

    /// Sends a ping and takes its answer: all that was asked before has then been done.
    void synchronise();
    /// Takes what lies in the asynchronous pipe, without waiting.
    Bytes takeAsync();

    /// One block; the result of `process`.
    int32_t process(int32_t worker, int32_t instanceId, int32_t frames, bool keepActive = true);

    /// Opens all pipes; for a client that was made without.
    void connect();
    /// Also waits until the worker reads.
    void openWorker(int32_t worker);
    /// Waits until the host has read what was sent, or reads no more.
    void waitUntilTaken();
    void waitUntilTaken(int32_t worker);
    void closeMain();
    /// The reading end only: the host's replies to a ping have nowhere to go.
    void closeMainReplies();
    void closeAsync();
    void closeWorker(int32_t worker);
    void closeWorkerCommands(int32_t worker);
    void closeAll();

    /// The status of `waitpid`. Kills a host that stays.
    int waitForEnd(int seconds = 20);
    std::string standardError() const;
    std::string standardOutput() const;
    /// Waits until the standard error stream has the text.
    void waitForError(const std::string& text);
    /// Waits until all workers sleep in their reads.
    void waitUntilWorkersRest();
    /// The names of the host's threads, the main thread's first.
    std::vector<std::string> threadNames() const;
    /// 0 if no thread has the name.
    pid_t findThread(const std::string& name) const;

private:
    struct Duplex {
        int toHost = -1;
        int fromHost = -1;
    };

    void makePipes();
    void start();
    int openForWriting(const std::string& channel);
    int openForReading(const std::string& channel) const;
    void waitUntilEmpty(int descriptor);
    bool endsWithoutAByte(int descriptor);
    bool hasEnded();
    void endInOrder();
    void release();

    HostOptions options;
    int32_t hostId;
    std::string directory;
    pid_t hostProcess = -1;
    bool connected = false;
    bool ended = false;
    int status = 0;
    int standardOutputFile = -1;
    int standardErrorFile = -1;
    Duplex mainChannel;
    int asyncChannel = -1;
    std::vector<Duplex> workers;
};

/// Waits until a condition holds; throws with `what` after a generous while.
template <class Condition>
void waitUntil(const char* what, Condition condition);

void pauseShortly();
[[noreturn]] void failWaiting(const char* what);

template <class Condition>
void waitUntil(const char* what, Condition condition) {
    constexpr int tries = 20000; // of about a millisecond
    for (int i = 0; i < tries; ++i) {
        if (condition())
            return;
        pauseShortly();
    }
    failWaiting(what);
}
