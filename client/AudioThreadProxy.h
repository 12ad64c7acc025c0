#pragma once

#include "core/NamedPipe.h"
#include "plugin/CoreNames.h"

#include <cstdint>

/// The client's end of one worker's pipe. One thread drives it at a time.
class AudioThreadProxy : public Object {
public:
    /// Creates the pipe of worker `index` and opens nothing. Throws `IOException`.
    AudioThreadProxy(int32_t hostId, int32_t index);
    ~AudioThreadProxy() override;

    /// Waits for the host's worker. Throws `IOException`.
    void open();

    /// Null before `open`.
    InputStream* getInput() const { return input; }
    OutputStream* getOutput() const { return output; }

private:
    Ref<base::core::NamedServerPipe> pipe;
    /// Borrowed from `pipe`.
    InputStream* input = nullptr;
    OutputStream* output = nullptr;
};
