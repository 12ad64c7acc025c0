#pragma once

#include "core/NamedPipe.h"
#include "plugin/CoreNames.h"

#include <cstdint>

/// The client's end of one worker's pipe. One thread drives it at a time.
///
/// A command that fails half-way may leave part of itself, or its answer, in the pipe, where the next command
/// would read it as its own. So every command is one `Exchange`, and after an incomplete one the pipe takes
/// no further command for any instance.
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

    const Ref<base::core::NamedServerPipe>& getPipe() const { return pipe; }
    /// Null before `open`.
    InputStream* getInput() const { return input; }
    OutputStream* getOutput() const { return output; }

private:
    Ref<base::core::NamedServerPipe> pipe;
    /// Borrowed from `pipe`.
    InputStream* input = nullptr;
    OutputStream* output = nullptr;
    /// No command is in progress. Several threads may drive the worker, one after the other.
    Relaxed<bool> inStep = true;
};
