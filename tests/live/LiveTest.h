#pragma once

#include "live/JackPeer.h"
#include "support/ChildProgram.h"
#include "support/Eventually.h"
#include "support/OwnXServer.h"
#include "support/ScopedEnvironment.h"
#include "support/TestDirectory.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

/// Names of servers that no other test of the machine has meanwhile. There are few of them, since JACK keeps
/// a list of eight servers, in which one that was killed stays until another has its name.
class ServerName {
public:
    ServerName() : socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        test_support::eventually([&] { return takeOne(); }, test_support::longBound);
    }
    /// Once the servers have ended: removes what they have left.
    ~ServerName() {
        for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
            const std::string name = entry.path().filename();
            if (name.starts_with("jack") && name.find("_" + own) != std::string::npos)
                unlink(entry.path().c_str());
        }
        close(socket);
    }
    ServerName(const ServerName&) = delete;
    ServerName& operator=(const ServerName&) = delete;

    std::string own;

private:
    /// By a socket without a file, which the kernel releases with the process.
    bool takeOne() {
        for (const char* number : {"1", "2", "3"}) {
            own = std::string("plugin-host-test-") + number;
            sockaddr_un address{AF_UNIX, {}};
            std::copy(own.begin(), own.end(), address.sun_path + 1);
            if (bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
                return true;
        }
        return false;
    }

    int socket;
};

/// The program as a client of a server of the test's own.
class LiveTest : public testing::Test {
protected:
    static constexpr const char* upsideDown = "54725570";

    LiveTest() {
        jack_set_error_function([](const char*) {});
        jack_set_info_function([](const char*) {});
    }

    static std::string examplePlugin(const std::string& file) { return EXAMPLE_PLUGIN_DIRECTORY "/" + file; }

    /// Starts the server, and the peer.
    void startServer(int period = 1024) {
        const auto opens = [&] {
            peer = std::make_unique<JackPeer>();
            return peer->isOpen();
        };
        require(startServer(server, serverName, period, opens), "no JACK server");
    }

    /// Until `isUp`. A server that starts at the same moment as another of the machine may fail.
    template <class Condition>
    static bool startServer(std::optional<test_support::OwnProgram>& started, const std::string& name,
                            int period, const Condition& isUp) {
        constexpr std::chrono::seconds patience{2};
        for (int tries = 0; tries < 5; ++tries) {
            started.reset();
            const std::vector<std::string> command{"jackd", "-r", "-n",    name, "-d",
                                                   "dummy", "-r", "48000", "-p", std::to_string(period)};
            // Killed, it would leave its place taken.
            started.emplace(command, -1, SIGTERM);
            if (test_support::eventually(isUp, patience))
                return true;
        }
        return false;
    }

    test_support::ChildProgram::Environment environment() const {
        return {{"XDG_CACHE_HOME", directory / "cache"},
                {"TANVEX_PLUGIN_HOST_PROGRAM_32", PLUGIN_HOST_I386_EXECUTABLE},
                {"TANVEX_PLUGIN_HOST_PROGRAM_64", program}};
    }

    /// Hosts of 64 bits beyond so many starts wait for `openGate`.
    void gateHosts(int free) {
        program = directory / "gated-host";
        std::ofstream(program) << "#!/bin/sh\n"
                                  "if [ \"$1\" = host ]; then\n"
                                  "    echo >>\"$0.starts\"\n"
                                  "    [ \"$(wc -l <\"$0.starts\")\" -le "
                               << free
                               << " ] || until [ -e \"$0.gate\" ]; do sleep 0.01; done\n"
                                  "fi\n"
                                  "exec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"\n";
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }
    void openGate() const { std::ofstream(program + ".gate") << '\n'; }

    std::string readBytes(const std::string& name) const {
        std::ifstream file(directory / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    test_support::ProgramResult runLive(const std::vector<std::string>& arguments) const {
        return test_support::runProgram(arguments, environment(), directory.path, LIVE_EXECUTABLE);
    }

    /// Starts the program, and waits for its ports.
    void startLive(const std::vector<std::string>& arguments) { startLiveBy(LIVE_EXECUTABLE, arguments); }
    /// The same by another program, which becomes this one.
    void startLiveBy(const std::string& executable, const std::vector<std::string>& arguments) {
        live.emplace(arguments, environment(), directory.path, executable);
        // Ports come before the client is active, which it has to be for a connection.
        require(connect("plugin-host-live:output_1", "peer:receive_1"), "the program has no output");
        require(connect("plugin-host-live:output_2", "peer:receive_2"), "the program has one output");
    }

    bool connect(const std::string& from, const std::string& to) {
        return test_support::eventually([&] { return peer->connect(from, to); });
    }

    void connectInputs() {
        require(connect("peer:send_1", "plugin-host-live:input_1"), "the program has no input");
        require(connect("peer:send_2", "plugin-host-live:input_2"), "the program has one input");
    }

    void startUpsideDownTwice(std::vector<std::string> options = {}) {
        for (int i = 0; i < 2; ++i)
            options.insert(options.end(), {"--identifier", upsideDown, examplePlugin("trio.so")});
        startLive(options);
        connectInputs();
        peer->sent = 0.5F;
        require(hears(0.5F), "nothing is heard");
    }

    /// Ends the test with the words.
    void require(bool holds, const char* words) {
        if (!holds)
            throw std::runtime_error(words + (live ? ": " + readErrors() : ""));
    }

    /// Of the program, which is killed if it still runs.
    std::string readErrors() {
        live->signal(SIGKILL);
        live->waitForEnd();
        return live->error;
    }

    /// Whether this level comes back.
    bool hears(float level) const {
        return test_support::eventually([&] { return peer->left == level && peer->right == level; });
    }

    /// The hosts of the program, in the order of their starts.
    std::vector<pid_t> hosts() const {
        std::vector<pid_t> found;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename();
            if (name.find_first_not_of("0123456789") != std::string::npos)
                continue;
            std::ifstream file(entry.path() / "stat");
            const std::string stat{std::istreambuf_iterator<char>(file), {}};
            // The name in parentheses is a plug-in's, with anything in it.
            std::istringstream fields(stat.substr(std::min(stat.rfind(')'), stat.size() - 1) + 1));
            std::string state;
            pid_t parent = 0;
            if (stat.empty() || !(fields >> state >> parent) || parent != live->getPid() || state == "Z")
                continue;
            std::ifstream arguments(entry.path() / "cmdline");
            std::string program;
            std::string action;
            std::getline(arguments, program, '\0');
            std::getline(arguments, action, '\0');
            if (action == "host")
                found.push_back(std::stoi(name));
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    /// What comes back of a note, from the first sound on.
    std::vector<float> playNote() {
        constexpr size_t length = 8192;
        peer->record(4 * length, {{0, {0x90, 69, 100}}, {length, {0x80, 69, 0}}});
        require(test_support::eventually([&] { return peer->hasRecorded(); }), "no recording");
        const std::vector<float>& all = peer->getRecording();
        const auto first = std::ranges::find_if(all, [](float sample) { return sample != 0; });
        require(all.end() - first >= static_cast<ptrdiff_t>(length), "no note is heard");
        return {first, first + length};
    }

    /// Ends the program as a user does, and gives its exit status.
    int endLive(int signal = SIGTERM) {
        live->signal(signal);
        live->waitForEnd();
        return live->status();
    }

    const ServerName names;
    const std::string& serverName = names.own;
    const test_support::ScopedEnvironment serverVariable{"JACK_DEFAULT_SERVER", serverName.c_str()};
    const test_support::TestDirectory directory;
    std::string program = PLUGIN_HOST_EXECUTABLE;
    std::optional<test_support::OwnProgram> server;
    std::unique_ptr<JackPeer> peer;
    std::optional<test_support::ChildProgram> live;
};
