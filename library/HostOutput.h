#pragma once

#include "core/FileDescriptor.h"
#include "core/StartProgram.h"
#include "plugin/CoreNames.h"

#include <functional>
#include <string>
#include <string_view>

namespace client_library {

/// One output stream of a host: the reading end of a pipe, whose bytes become lines. One thread at a time.
class HostOutput : public NonCopyable, public NonMovable {
public:
    using Receiver = std::function<void(std::string_view line)>;

    /// A longer line comes in pieces.
    static constexpr size_t longestLine = 4096;

    /// Throws `IOException` if the process is out of descriptors.
    HostOutput();

    /// For the child; -1 after `closeWriter`.
    int32_t getWriter() const { return writer.get(); }
    /// After the launch, so that the stream ends with the child.
    void closeWriter() { writer.close(); }
    /// For `poll`; -1 once the stream has ended.
    int32_t getReader() const { return reader.get(); }
    /// Hands over the lines of what is there, of 64 KB at most, without blocking. False if there is more.
    bool read(const Receiver& receive);
    /// Hands over the rest, which has no line feed, and closes the reader.
    void finish(const Receiver& receive);
    /// The last line that wasn't empty.
    const std::string& getLastLine() const { return lastLine; }

private:
    explicit HostOutput(base::core::PipeEnds ends);
    void add(std::string_view bytes, const Receiver& receive);
    void endLine(const Receiver& receive);

    base::core::FileDescriptor reader;
    base::core::FileDescriptor writer;
    std::string line;
    std::string lastLine;
};

} // namespace client_library
