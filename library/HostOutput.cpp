#include "library/HostOutput.h"

#include "core/StartProgram.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace client_library {
namespace {

constexpr size_t pieceSize = 4096;
constexpr size_t piecesOfTurn = 16;

} // namespace

HostOutput::HostOutput() : HostOutput(base::core::openPipe()) {}

HostOutput::HostOutput(base::core::PipeEnds ends)
    : reader(base::core::aboveConsole(ends.reader)), writer(base::core::aboveConsole(ends.writer)) {
    // Only this end: a host must not lose lines because its client is slow.
    fcntl(reader.get(), F_SETFL, O_NONBLOCK);
}

bool HostOutput::read(const Receiver& receive) {
    std::array<char, pieceSize> bytes;
    for (size_t piece = 0; piece < piecesOfTurn; ++piece) {
        const ssize_t count = ::read(reader.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return true;
        if (count <= 0) {
            finish(receive);
            return true;
        }
        add(std::string_view(bytes.data(), static_cast<size_t>(count)), receive);
    }
    return false;
}

void HostOutput::finish(const Receiver& receive) {
    if (!line.empty())
        endLine(receive);
    reader.close();
}

void HostOutput::add(std::string_view bytes, const Receiver& receive) {
    for (const char byte : bytes) {
        if (byte == '\n' || line.size() == longestLine)
            endLine(receive);
        if (byte != '\n')
            line += byte;
    }
}

void HostOutput::endLine(const Receiver& receive) {
    const std::string whole = std::exchange(line, {});
    if (!whole.empty())
        lastLine = whole;
    receive(whole);
}

} // namespace client_library
