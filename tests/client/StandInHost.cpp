// Stands in for the host: opens the pipes as a host does, and plays a script of raw bytes on them. So the
// client meets hosts that no real one would be, and what it sends is recorded as it came. It shares no
// code with what it tests, nor with the kit of the tests, so that a mistake on the wire is not made on both
// sides.
//
//     stand-in-host host SAMPLE-RATE BLOCK-SIZE HOST-ID WORKERS
//
// STAND_IN_SCRIPT holds the steps, separated by blanks. Channels have the names of their pipes.
//     connect                  opens all three channels in a host's order
//     open:CHANNEL             opens one
//     read:CHANNEL:COUNT       reads so many bytes
//     write:CHANNEL:HEX        writes these
//     drained:CHANNEL          waits until the client has read all that was written
//     shrink:CHANNEL           lets the client write no more than a page ahead
//     close:CHANNEL            closes both directions
//     remove:CHANNEL           takes the files of a channel away
//     exit:STATUS              leaves
//     exists:PATH              waits until there is a file of this path
//     wait                     waits to be killed
// After the last step it reads the main channel to its end and leaves with status 0. What it reads is
// appended to the files STAND_IN_RECORD-CHANNEL.

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr unsigned longestLife = 30; // seconds

struct Channel {
    int input = -1;
    int output = -1;
};

class Player {
public:
    explicit Player(const std::string& hostId)
        : directory(std::string("/tmp/pipes-") + std::getenv("USER") + "/tanvex/engine/plugin" + hostId +
                    "/"),
          record(std::getenv("STAND_IN_RECORD")) {}

    void play(const std::string& script) {
        std::istringstream steps(script);
        std::string step;
        while (steps >> step) {
            std::istringstream parts(step);
            std::string verb, channel, argument;
            std::getline(parts, verb, ':');
            std::getline(parts, channel, ':');
            std::getline(parts, argument);
            playStep(verb, channel, argument);
        }
        while (readSome("main", 4096)) {
        }
    }

private:
    void playStep(const std::string& verb, const std::string& channel, const std::string& argument) {
        if (verb == "connect") {
            for (const char* each : {"main", "async-replies", "worker0"})
                openChannel(each);
        } else if (verb == "open") {
            openChannel(channel);
        } else if (verb == "read") {
            for (int left = std::atoi(argument.c_str()); left > 0; --left) {
                if (!readSome(channel, 1))
                    fail("the client closed " + channel);
            }
        } else if (verb == "write") {
            writeHex(channel, argument);
        } else if (verb == "drained") {
            int left = 1;
            while (ioctl(channels[channel].output, FIONREAD, &left) == 0 && left > 0)
                usleep(200);
        } else if (verb == "shrink") {
            if (fcntl(channels[channel].input, F_SETPIPE_SZ, 1) != sysconf(_SC_PAGESIZE))
                fail("cannot shrink " + channel);
        } else if (verb == "close") {
            // In this order: whoever sees the end of what it reads can no longer write either.
            close(channels[channel].input);
            close(channels[channel].output);
            channels.erase(channel);
        } else if (verb == "remove") {
            unlink((directory + channel + "-to-client").c_str());
            unlink((directory + channel + "-from-client").c_str());
        } else if (verb == "exists") {
            while (access(channel.c_str(), F_OK) != 0)
                usleep(200);
        } else if (verb == "exit") {
            _exit(std::atoi(channel.c_str()));
        } else if (verb == "wait") {
            pause();
        } else {
            fail("no such step: " + verb);
        }
    }

    // The client creates the pipes, so "to-client" is what it reads itself: the other end's word.
    void openChannel(const std::string& name) {
        Channel& channel = channels[name];
        if (name != "async-replies")
            channel.input = open((directory + name + "-to-client").c_str(), O_RDONLY);
        channel.output = open((directory + name + "-from-client").c_str(), O_WRONLY);
        if (channel.output < 0)
            fail("cannot open " + name);
    }

    bool readSome(const std::string& channel, size_t size) {
        char bytes[4096];
        const ssize_t count = read(channels[channel].input, bytes, size);
        if (count <= 0)
            return false;
        const int file = open((record + "-" + channel).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        if (write(file, bytes, static_cast<size_t>(count)) != count)
            fail("cannot record");
        close(file);
        return true;
    }

    void writeHex(const std::string& channel, const std::string& hex) {
        std::string bytes;
        for (size_t i = 0; i + 1 < hex.size(); i += 2)
            bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        if (write(channels[channel].output, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            fail("cannot write to " + channel);
    }

    [[noreturn]] static void fail(const std::string& reason) {
        std::fprintf(stderr, "stand-in-host: %s\n", reason.c_str());
        _exit(99);
    }

    std::string directory;
    std::string record;
    std::map<std::string, Channel> channels;
};

} // namespace

int main(int argc, char** argv) {
    alarm(longestLife);
    if (argc != 6 || std::string_view(argv[1]) != "host")
        return 98;
    Player(argv[4]).play(std::getenv("STAND_IN_SCRIPT"));
    return 0;
}
