#include "HostTest.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;
namespace fs = std::filesystem;

namespace {

constexpr unsigned longestTest = 55; // seconds

std::string textOf(const char* text) {
    return text != nullptr ? text : "";
}

[[noreturn]] void giveUp(int) {
    constexpr std::string_view text = "The test hangs\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    _exit(1);
}

// Some parts of the library are made with the first host and stay: its thread that starts programs.
void startAndEndAHost() {
    SessionRecord record;
    const OwnSession session(record);
    plugin_host_host* host = nullptr;
    EXPECT_EQ(session.startHost("/bin/true", &host).status, PLUGIN_HOST_START_FAILED);
}

} // namespace

/// One callback.
class SessionRecord::Turn {
public:
    Turn(void* userData, const std::string& event, plugin_host_plugin* plugin = nullptr)
        : record(*static_cast<SessionRecord*>(userData)), event(event), plugin(plugin) {
        pid_t none = 0;
        // Callbacks of a session that is destroyed inside of a callback come inside of that one.
        if (!record.current.compare_exchange_strong(none, thisThread())) {
            EXPECT_EQ(none, thisThread()) << "two callbacks at once";
        }
        ++record.depth;
    }
    ~Turn() {
        if (!event.empty())
            record.add(event, plugin);
        if (record.hook && !event.empty())
            record.hook(event, plugin);
        if (--record.depth == 0)
            record.current = 0;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    SessionRecord& record;

private:
    const std::string event;
    plugin_host_plugin* const plugin;
};

struct SessionRecord::Entries {
    static void log(void* data, plugin_host_host* host, plugin_host_log_source source, const char* line) {
        const Turn turn(data, "line");
        const std::lock_guard lock(turn.record.mutex);
        turn.record.lines.push_back({host, source, line});
    }
    static void died(void* data, plugin_host_host* host, const plugin_host_death* death) {
        const Turn turn(data, "died");
        const std::lock_guard lock(turn.record.mutex);
        EXPECT_EQ(death->size, sizeof *death);
        turn.record.deaths.push_back({host, death->signal, death->exit_status, textOf(death->text),
                                      death->block_plugin, textOf(death->block_path), death->block_seconds,
                                      textOf(death->request), death->request_plugin,
                                      textOf(death->request_path), death->request_seconds});
    }
    static void created(void* data, plugin_host_plugin* plugin, plugin_host_status status,
                        const char* error) {
        const Turn turn(data, "created " + std::to_string(status), plugin);
        EXPECT_NE(error, nullptr);
        EXPECT_EQ(status == PLUGIN_HOST_OK, *error == '\0') << error;
    }
    static void destroyed(void* data, plugin_host_plugin* plugin, void* pluginData) {
        const Turn turn(data, "destroyed", plugin);
        const std::lock_guard lock(turn.record.mutex);
        turn.record.destroyedData.push_back(pluginData);
    }
    static void changed(void* data, plugin_host_plugin* plugin, uint32_t, float) {
        const Turn turn(data, "changed", plugin);
    }
};

plugin_host_callbacks SessionRecord::getCallbacks() {
    plugin_host_callbacks callbacks{};
    callbacks.size = sizeof callbacks;
    callbacks.user_data = this;
    callbacks.log = Entries::log;
    callbacks.host_died = Entries::died;
    callbacks.plugin_created = Entries::created;
    callbacks.plugin_destroyed = Entries::destroyed;
    callbacks.parameter_changed = Entries::changed;
    return callbacks;
}

void SessionRecord::add(const std::string& event, plugin_host_plugin* plugin) {
    const std::lock_guard lock(mutex);
    threads.insert(thisThread());
    if (event != "line")
        events.push_back({event, plugin});
}

std::vector<SessionRecord::Death> SessionRecord::getDeaths() const {
    const std::lock_guard lock(mutex);
    return deaths;
}

std::vector<SessionRecord::Line> SessionRecord::getLines() const {
    const std::lock_guard lock(mutex);
    return lines;
}

std::vector<std::string> SessionRecord::getLines(plugin_host_log_source source) const {
    std::vector<std::string> found;
    for (const Line& line : getLines()) {
        if (line.source == source)
            found.push_back(line.text);
    }
    return found;
}

std::vector<std::string> SessionRecord::getEvents() const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const Event& event : events)
        texts.push_back(event.text);
    return texts;
}

std::vector<std::string> SessionRecord::getEvents(plugin_host_plugin* plugin) const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const Event& event : events) {
        if (event.plugin == plugin)
            texts.push_back(event.text);
    }
    return texts;
}

size_t SessionRecord::countEvents(const std::string& event) const {
    const std::vector<std::string> all = getEvents();
    return static_cast<size_t>(std::count(all.begin(), all.end(), event));
}

std::set<pid_t> SessionRecord::getThreads() const {
    const std::lock_guard lock(mutex);
    return threads;
}

std::vector<void*> SessionRecord::getDestroyedData() const {
    const std::lock_guard lock(mutex);
    return destroyedData;
}

testing::AssertionResult SessionRecord::hears(const std::string& event, size_t count) const {
    if (eventually([&] { return countEvents(event) >= count; }))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << countEvents(event) << " of \"" << event << "\" came";
}

Holdings Holdings::now() {
    Holdings found;
    std::error_code ignored;
    const std::string user = std::getenv("USER");
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        const std::string target = fs::read_symlink(entry.path(), ignored);
        // The descriptor of this very walk.
        if (!target.starts_with("/proc/"))
            found.descriptors.push_back(entry.path().filename().string() + " " + target);
    }
    std::ranges::sort(found.descriptors);
    const fs::directory_iterator tasks("/proc/self/task");
    found.threads = static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
    if (const std::string pipes = "/tmp/pipes-" + user; fs::exists(pipes, ignored)) {
        for (const auto& entry : fs::recursive_directory_iterator(pipes)) {
            if (!entry.is_directory())
                found.fifos.push_back(entry.path());
        }
    }
    for (const auto& entry : fs::directory_iterator("/dev/shm")) {
        if (entry.path().string().find(user) != std::string::npos)
            found.audioBlocks.push_back(entry.path());
    }
    siginfo_t child{};
    found.hasChildren = waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
    return found;
}

void PrintTo(const Holdings& holdings, std::ostream* stream) {
    const auto print = [&](const char* title, const std::vector<std::string>& texts) {
        *stream << title << ":";
        for (const std::string& text : texts)
            *stream << " [" << text << "]";
        *stream << "\n";
    };
    print("descriptors", holdings.descriptors);
    *stream << "threads: " << holdings.threads << "\n";
    print("FIFOs", holdings.fifos);
    print("audio blocks", holdings.audioBlocks);
    *stream << "children: " << (holdings.hasChildren ? "yes" : "no") << "\n";
}

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << plugin_host_status_text(outcome.status) << ": " << outcome.text;
}

Outcome outcomeOf(plugin_host_status status) {
    return {status, status == PLUGIN_HOST_OK ? "" : plugin_host_error()};
}

SessionOptions::SessionOptions(SessionRecord& record)
    : plugin_host_session_options{}, functions(record.getCallbacks()) {
    size = sizeof(plugin_host_session_options);
    program_32 = PLUGIN_HOST_EXECUTABLE;
    program_64 = PLUGIN_HOST_EXECUTABLE;
    cache_directory = "";
    start_timeout = 30'000; // a sanitizer's host takes its time
    callbacks = &functions;
}

OwnSession::OwnSession(const plugin_host_session_options& options) {
    EXPECT_EQ(plugin_host_session_create(&options, &handle), PLUGIN_HOST_OK) << plugin_host_error();
}

OwnSession::~OwnSession() {
    if (handle != nullptr) {
        EXPECT_EQ(destroy(), PLUGIN_HOST_OK) << plugin_host_error();
    }
}

plugin_host_status OwnSession::destroy() {
    return plugin_host_session_destroy(std::exchange(handle, nullptr));
}

plugin_host_host* OwnSession::startHost() const {
    plugin_host_host* host = nullptr;
    EXPECT_EQ(plugin_host_host_start(handle, nullptr, &host), PLUGIN_HOST_OK) << plugin_host_error();
    EXPECT_NE(host, nullptr);
    return host;
}

Outcome OwnSession::startHost(const std::string& program, plugin_host_host** host, int32_t timeout) const {
    plugin_host_host_options options{};
    options.size = sizeof options;
    options.program = program.c_str();
    options.start_timeout = timeout;
    return outcomeOf(plugin_host_host_start(handle, &options, host));
}

plugin_host_plugin* OwnSession::createPlugin(const std::string& path, plugin_host_host* host,
                                             const char* identifier, void* data) const {
    plugin_host_plugin_options options{};
    options.size = sizeof options;
    options.path = path.c_str();
    options.identifier = identifier;
    options.host = host;
    options.data = data;
    plugin_host_plugin* plugin = nullptr;
    EXPECT_EQ(plugin_host_plugin_create(handle, &options, &plugin), PLUGIN_HOST_OK) << plugin_host_error();
    return plugin;
}

Outcome OwnSession::tryPlugin(const std::string& path, plugin_host_host* host, int32_t timeout) const {
    plugin_host_plugin_options options{};
    options.size = sizeof options;
    options.path = path.c_str();
    options.host = host;
    options.timeout = timeout;
    plugin_host_plugin* plugin = nullptr;
    const Outcome outcome = outcomeOf(plugin_host_plugin_create(handle, &options, &plugin));
    EXPECT_EQ(plugin != nullptr, outcome.status == PLUGIN_HOST_OK);
    return outcome;
}

plugin_host_plugin* OwnSession::createLater(const std::string& path, plugin_host_host* host,
                                            void* data) const {
    plugin_host_plugin_options options{};
    options.size = sizeof options;
    options.path = path.c_str();
    options.host = host;
    options.data = data;
    plugin_host_plugin* plugin = nullptr;
    EXPECT_EQ(plugin_host_plugin_create_async(handle, &options, &plugin), PLUGIN_HOST_OK)
        << plugin_host_error();
    return plugin;
}

void HostTest::SetUp() {
    std::signal(SIGALRM, giveUp);
    alarm(longestTest);
    // Hosts die here on purpose.
    constexpr rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    [[maybe_unused]] static const bool isPrepared = [] {
        startAndEndAHost();
        return true;
    }();
    before = Holdings::now();
}

void HostTest::TearDown() {
    EXPECT_TRUE(eventually([&] { return record.isIdle(); }));
    // A thread that has been joined is in the list of the system for a moment longer.
    eventually([&] { return Holdings::now() == before; }, std::chrono::seconds(4));
    EXPECT_EQ(Holdings::now(), before) << "something was left behind";
    alarm(0);
    if (!HasFailure())
        return;
    for (const SessionRecord::Line& line : record.getLines())
        std::cerr << "log: " << line.text << "\n";
}

std::string examplePlugin(const std::string& name) {
    return std::string(EXAMPLE_PLUGIN_DIRECTORY) + "/" + name + ".so";
}

std::string testPlugin(const std::string& name) {
    return std::string(TEST_PLUGIN_DIRECTORY) + "/" + name + ".so";
}

pid_t processOf(plugin_host_host* host) {
    plugin_host_host_info info{};
    info.size = sizeof info;
    EXPECT_EQ(plugin_host_host_get_info(host, &info), PLUGIN_HOST_OK) << plugin_host_error();
    return info.process_id;
}

bool isGone(pid_t process) {
    return kill(process, 0) == -1 && errno == ESRCH;
}

pid_t thisThread() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

StandIn::StandIn(const std::string& script)
    : record(std::string("/tmp/") + std::getenv("USER") + "-received") {
    setenv("STAND_IN_SCRIPT", script.c_str(), 1);
    setenv("STAND_IN_RECORD", record.c_str(), 1);
}

StandIn::~StandIn() {
    unsetenv("STAND_IN_SCRIPT");
    unsetenv("STAND_IN_RECORD");
    std::error_code ignored;
    fs::remove(record + "-main", ignored);
    fs::remove(record + "-worker0", ignored);
}

std::string StandIn::received() const {
    std::ifstream file(record + "-main", std::ios::binary);
    std::ostringstream hex;
    char byte;
    while (file.get(byte))
        hex << std::hex << std::setw(2) << std::setfill('0')
            << static_cast<unsigned>(static_cast<unsigned char>(byte));
    return hex.str();
}

void writeShellProgram(const std::string& path, const std::string& commands) {
    std::ofstream(path) << "#!/bin/sh\n" << commands << "\n";
    fs::permissions(path, fs::perms::owner_all);
}
