#pragma once

#include "core/NamedPipe.h"
#include "plugin/CoreNames.h"
#include "plugin/WorkerCommands.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

/// A block of one instance on its way through a worker. Belongs to the caller, and stays where it is from
/// `AudioThreadProxy::add` to the end of `finish`.
struct WorkerBlock {
    enum class State : uint8_t {
        /// Its answer is awaited, or it waits for room in the pipe.
        underway,
        done,
        /// Its answer hasn't come in time: the shared block is the worker's until it has.
        late,
        /// The host is gone.
        lost,
    };

    ProcessCommand command;
    /// The number of the instance's last block, 0 for none, by which the worker knows whether that one was
    /// answered.
    uint64_t* lastNumber = nullptr;
    State state = State::underway;
    /// What `PluginInstance::process` returned, if it is done.
    int32_t result = 0;
    /// The one that is sent after it.
    WorkerBlock* next = nullptr;
};

/// The client's end of one worker's pipe. One thread drives it at a time.
///
/// A command that fails half-way may leave part of itself, or its answer, in the pipe, where the next command
/// would read it as its own. So every command is one `Exchange`, and after an incomplete one the pipe takes
/// no further command for any instance.
///
/// Blocks go by `add`, `send` and `finish`, any number of them together: a write for the commands, and a read
/// for all answers that are there. The worker renders them in their order. Never are there more commands in
/// the pipe than it holds, so no write waits. None of the three allocates, locks or makes another system
/// call, but for the look at the clock and the waits that a deadline costs.
class AudioThreadProxy : public Object {
public:
    /// Creates the pipe of worker `index` without opening it. Throws `IOException`.
    AudioThreadProxy(int32_t hostId, int32_t index);
    ~AudioThreadProxy() override;

    /// Waits for the host's worker. Throws `IOException`.
    void open();

    /// One command, from its first byte to its answer, if it has one. Allocates nothing.
    class Exchange : public NonCopyable, public NonMovable {
    public:
        /// Throws `IOException` if an earlier command wasn't completed.
        explicit Exchange(AudioThreadProxy& worker);
        /// Nothing of the command is left in the pipe.
        void complete() { worker.inStep = true; }

    private:
        AudioThreadProxy& worker;
    };

    /// Whether the block with this number was answered, so that its instance may take another. Looks for
    /// answers if it isn't known to be. Throws `IOException` once the host is gone.
    bool isAnswered(uint64_t number);
    /// Waits until it is. Throws `IOException`.
    void awaitAnswer(uint64_t number);

    /// Appends a block to those that `send` sends; the last one of its instance was answered. True for the
    /// first of them. Throws `IOException` if an earlier command wasn't completed.
    bool add(WorkerBlock& block);
    /// Sends what was added, as far as the pipe has room. Throws `IOException`, after which all blocks that
    /// were added are lost.
    void send();
    /// Waits until every block that was added is done, and sends on as room appears. At `deadline`, a time of
    /// `CLOCK_MONOTONIC`, those that aren't are late; null waits for ever. False if one is late. Throws
    /// `IOException`, after which they are lost.
    bool finish(const timespec* deadline = nullptr);

    /// What the worker is at.
    struct Progress {
        /// 0 for none.
        int32_t instanceId;
        /// How long it has been at it, in nanoseconds; longer than that if its answer waits to be taken.
        int64_t time;
    };
    /// Any thread.
    Progress getProgress() const;

    const Ref<base::core::NamedServerPipe>& getPipe() const { return pipe; }
    /// Null before `open`.
    InputStream* getInput() const { return input; }
    OutputStream* getOutput() const { return output; }

private:
    static constexpr size_t mostUnderway = 1024;

    struct Underway {
        Relaxed<int32_t> instanceId = 0;
        /// Null once it is late.
        WorkerBlock* block = nullptr;
    };

    void requireStep() const;
    size_t getRoom() const { return limit - static_cast<size_t>(sent - answered); }
    Underway& at(uint64_t number) { return underway[number % mostUnderway]; }
    void noteBegin();
    void takeAnswers();
    void takeAnswer(int32_t result);
    bool waitForAnswers(const timespec* deadline);
    void giveUp(WorkerBlock::State state);

    Ref<base::core::NamedServerPipe> pipe;
    /// Borrowed from `pipe`.
    InputStream* input = nullptr;
    OutputStream* output = nullptr;
    /// No command is in progress. Several threads may drive the worker, one after the other.
    Relaxed<bool> inStep = true;

    /// The blocks behind `answered` up to `sent`, each at its number modulo the size.
    std::vector<Underway> underway;
    /// How many may be underway, so that neither direction of the pipe fills.
    size_t limit = 1;
    /// The numbers of the last blocks that were sent and answered.
    uint64_t sent = 0;
    uint64_t answered = 0;
    /// The lower halves of these, for other threads.
    Relaxed<uint32_t> publishedSent = 0;
    Relaxed<uint32_t> publishedAnswered = 0;
    /// When the last command was sent to an idle worker, or the last answers were taken, in nanoseconds of
    /// `CLOCK_MONOTONIC`.
    std::atomic<int64_t> begin{0};
    /// How many that were added aren't done.
    size_t unfinished = 0;
    /// The first and the last of those that aren't sent.
    WorkerBlock* firstUnsent = nullptr;
    WorkerBlock* lastUnsent = nullptr;
    /// Those that are written together.
    std::vector<uint8_t> commands;
    /// The beginning of an answer of which only a part has come.
    uint8_t part[sizeof(int32_t)] = {};
    size_t partSize = 0;
};
