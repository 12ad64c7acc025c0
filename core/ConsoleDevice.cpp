#include "core/ConsoleDevice.h"

#include "core/Exception.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace base::core {

ConsoleDevice::ConsoleDevice(int descriptor) : descriptor(descriptor) {}

ConsoleDevice::int_type ConsoleDevice::underflow() {
    ssize_t count;
    do {
        count = read(descriptor, input, sizeof input);
    } while (count < 0 && errno == EINTR);
    // A device reports a failure to its stream by an exception; anything else reads as the end of the file.
    if (count < 0)
        throw IOException("Error reading from stream");
    setg(input, input, input + count);
    return count > 0 ? traits_type::to_int_type(*input) : traits_type::eof();
}

ConsoleDevice::int_type ConsoleDevice::overflow(int_type byte) {
    if (!traits_type::eq_int_type(byte, traits_type::eof()))
        pending += traits_type::to_char_type(byte);
    return traits_type::not_eof(byte);
}

std::streamsize ConsoleDevice::xsputn(const char* bytes, std::streamsize count) {
    pending.append(bytes, static_cast<size_t>(count));
    return count;
}

int ConsoleDevice::sync() {
    if (pending.empty())
        return 0;
    if (lineCut)
        pending.insert(0, 1, '\n');
    const size_t written = writeToDescriptor(pending);
    const bool complete = written == pending.size();
    if (written > 0)
        lineCut = !complete && pending[written - 1] != '\n';
    pending.clear();
    return complete ? 0 : -1;
}

size_t ConsoleDevice::writeToDescriptor(const std::string& bytes) const {
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count >= 0) {
            written += static_cast<size_t>(count);
        } else if (errno == EAGAIN) {
            // Another process has made the terminal or pipe non-blocking.
            pollfd room{descriptor, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            break;
        }
    }
    return written;
}

} // namespace base::core
