#include "process/RawPipes.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/types.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, 60000));
}

} // namespace

void sendAll(int descriptor, const Bytes& data) {
    const auto deadline = Clock::now() + patience;
    size_t sent = 0;
    while (sent < data.size()) {
        const ssize_t count = write(descriptor, data.data() + sent, data.size() - sent);
        if (count >= 0) {
            sent += static_cast<size_t>(count);
            continue;
        }
        if (errno != EAGAIN && errno != EINTR)
            throw std::runtime_error(std::string("the host doesn't take a frame: ") + std::strerror(errno));
        pollfd event{descriptor, POLLOUT, 0};
        if (poll(&event, 1, millisecondsUntil(deadline)) == 0)
            throw std::runtime_error("the host doesn't take a frame in time");
    }
}

void sendSome(int descriptor, const Bytes& data) {
    size_t sent = 0;
    while (sent < data.size()) {
        const ssize_t count = write(descriptor, data.data() + sent, data.size() - sent);
        if (count < 0)
            return;
        sent += static_cast<size_t>(count);
    }
}

Bytes readExactly(int descriptor, size_t size, const char* channel) {
    const auto deadline = Clock::now() + patience;
    Bytes data(size);
    size_t received = 0;
    while (received < size) {
        pollfd event{descriptor, POLLIN, 0};
        const int ready = poll(&event, 1, millisecondsUntil(deadline));
        const ssize_t count = ready > 0 ? read(descriptor, data.data() + received, size - received) : -1;
        if (ready == 0 || count == 0) {
            data.resize(received);
            throw std::runtime_error((ready == 0 ? "nothing more in time on " : "the end of ") +
                                     std::string(channel) + " behind " + readable(data));
        }
        if (count > 0)
            received += static_cast<size_t>(count);
    }
    return data;
}

std::string readFile(int descriptor) {
    std::string content;
    char part[4096];
    ssize_t count = 0;
    while ((count = pread(descriptor, part, sizeof part, static_cast<off_t>(content.size()))) > 0)
        content.append(part, static_cast<size_t>(count));
    return content;
}

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}
