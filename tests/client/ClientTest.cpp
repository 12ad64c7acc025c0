#include "ClientTest.h"

#include "core/SharedMemory.h"
#include "plugin/Channels.h"
#include "plugin/PluginHostNotifications.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>

using namespace test_support;

namespace {

constexpr unsigned longestTest = 40; // seconds
constexpr int32_t mostHosts = 300;   // that one run of the program makes
constexpr int32_t mostInstances = 3; // in one of them

// A test that hangs ends the program, with its FIFOs.
void giveUp(int) {
    constexpr char words[] = "\nThe test hangs: a call of the client has not returned.\n";
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, words, sizeof words - 1);
    execl("/bin/sh", "sh", "-c", "rm -rf \"/tmp/pipes-$USER\"; exit 1", nullptr);
    _exit(1);
}

std::string pipeDirectory() {
    return std::string("/tmp/pipes-") + std::getenv("USER");
}

template <class Action>
void forEachAudioBlock(const Action& action) {
    for (int32_t host = 1; host <= mostHosts; ++host) {
        for (int32_t instance = 1; instance <= mostInstances; ++instance)
            action(base::core::sharedMemoryName(audioBlockName(host, instance)));
    }
}

char stateOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const size_t nameEnd = text.rfind(')');
    return nameEnd != std::string::npos && nameEnd + 2 < text.size() ? text[nameEnd + 2] : '\0';
}

// A sanitizer adds a thread of its own to the first one of a program, and keeps it.
void startAndEndAThread() {
    pid_t thread = 0;
    std::thread([&] { thread = currentThreadId(); }).join();
    const std::string entry = "/proc/self/task/" + std::to_string(thread);
    eventually([&] { return !std::filesystem::exists(entry); });
}

template <class... Parts>
std::string line(const PluginHostNotification& notification, const Parts&... parts) {
    std::ostringstream text;
    text << notification.instanceId << ":";
    ((text << " " << parts), ...);
    return text.str();
}

} // namespace

void RecordingManager::hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) {
    const std::lock_guard lock(mutex);
    deaths.push_back({&proxy, message.toStdString(), onReplyThread});
}

void RecordingManager::hostShutDown(RemotePluginHostProxy&) {
    const std::lock_guard lock(mutex);
    ++shutdowns;
}

std::vector<RecordingManager::Death> RecordingManager::getDeaths() const {
    const std::lock_guard lock(mutex);
    return deaths;
}

size_t RecordingManager::countShutdowns() const {
    const std::lock_guard lock(mutex);
    return shutdowns;
}

void RecordingListener::onUpdateParameter(const UpdateParameterNotification& notification) {
    add(line(notification, "value", notification.parameterIndex, notification.value));
}

void RecordingListener::onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) {
    add(line(notification, "display", notification.parameterIndex, notification.name.toStdString(),
             notification.display.toStdString()));
}

void RecordingListener::onUpdateAllParameters(const UpdateAllParametersNotification& notification) {
    add(line(notification, "all", notification.state->parameters.size()));
}

void RecordingListener::onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) {
    add(line(notification, notification.isBegin ? "begin" : "end", notification.parameterIndex));
}

void RecordingListener::onPluginWindowMoved(const PluginWindowMovedNotification& notification) {
    add(line(notification, "moved", notification.x, notification.y, notification.width, notification.height));
}

void RecordingListener::onPluginWindowClosed(const PluginWindowClosedNotification& notification) {
    add(line(notification, "closed"));
}

std::vector<std::string> RecordingListener::getLines() const {
    const std::lock_guard lock(mutex);
    return lines;
}

std::vector<std::string> RecordingListener::waitForLines(size_t count) const {
    EXPECT_TRUE(eventually([&] { return getLines().size() >= count; }))
        << "fewer than " << count << " notifications have come";
    return getLines();
}

void RecordingListener::add(const std::string& newLine) {
    const std::lock_guard lock(mutex);
    lines.push_back(newLine);
}

Footprint Footprint::now() {
    namespace fs = std::filesystem;
    Footprint found;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        const std::string target = fs::read_symlink(entry.path(), ignored);
        // The descriptor of this very walk.
        if (!target.starts_with("/proc/"))
            found.descriptors.push_back(entry.path().filename().string() + " " + target);
    }
    std::ranges::sort(found.descriptors);
    const fs::directory_iterator tasks("/proc/self/task");
    found.threads = static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
    if (fs::exists(pipeDirectory(), ignored)) {
        for (const auto& entry : fs::recursive_directory_iterator(pipeDirectory())) {
            if (!entry.is_directory())
                found.fifos.push_back(entry.path());
        }
    }
    forEachAudioBlock([&](const std::string& name) {
        if (fs::exists("/dev/shm" + name, ignored))
            found.audioBlocks.push_back(name);
    });
    siginfo_t child{};
    found.hasChildren = waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
    return found;
}

void PrintTo(const Footprint& footprint, std::ostream* stream) {
    const auto print = [&](const char* title, const std::vector<std::string>& texts) {
        *stream << title << ":";
        for (const std::string& text : texts)
            *stream << " [" << text << "]";
        *stream << "\n";
    };
    print("descriptors", footprint.descriptors);
    *stream << "threads: " << footprint.threads << "\n";
    print("FIFOs", footprint.fifos);
    print("audio blocks", footprint.audioBlocks);
    *stream << "children: " << (footprint.hasChildren ? "yes" : "no") << "\n";
}

StandIn::StandIn(const std::string& script)
    : record(std::string("/tmp/") + std::getenv("USER") + "-received"),
      scriptVariable("STAND_IN_SCRIPT", script.c_str()), recordVariable("STAND_IN_RECORD", record.c_str()) {
    // A stand-in that outlived its test may have gone on writing.
    removeRecords();
}

StandIn::~StandIn() {
    removeRecords();
}

void StandIn::removeRecords() const {
    for (const char* channel : {"-main", "-worker0"}) {
        std::error_code ignored;
        std::filesystem::remove(record + channel, ignored);
    }
}

std::string StandIn::received(const std::string& channel) const {
    std::ifstream file(record + "-" + channel, std::ios::binary);
    std::ostringstream hex;
    char byte;
    while (file.get(byte))
        hex << std::hex << std::setw(2) << std::setfill('0')
            << static_cast<unsigned>(static_cast<unsigned char>(byte));
    return hex.str();
}

void ClientTest::SetUp() {
    std::signal(SIGALRM, giveUp);
    alarm(longestTest);
    // Hosts die here on purpose.
    constexpr rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    startAndEndAThread();
    // Of a program of tests that had this process's number and was killed.
    forEachAudioBlock([](const std::string& name) { shm_unlink(name.c_str()); });
    before = Footprint::now();
    manager = new RecordingManager;
    RemotePluginHostProxy::setManager(manager);
}

void ClientTest::TearDown() {
    RemotePluginHostProxy::setManager(nullptr);
    // A thread that has been joined is in the list of the system for a moment longer.
    eventually([&] { return Footprint::now() == before; });
    EXPECT_EQ(Footprint::now(), before) << "something was left behind";
    forEachAudioBlock([](const std::string& name) { shm_unlink(name.c_str()); });
    alarm(0);
    const std::string said = errors->text();
    errors.reset();
    const bool isReport =
        said.find("Sanitizer: ") != std::string::npos || said.find("runtime error: ") != std::string::npos;
    EXPECT_FALSE(isReport) << "a sanitizer has reported";
    if (HasFailure())
        std::cerr << said;
}

Ref<CreatePluginInstanceReply>
ClientTest::createInstance(RemotePluginHostProxy& proxy, const std::string& path, const char* identifier,
                           const Ref<PluginHostNotificationListener>& listener) {
    const Ref<ReplyWaiter> created(new ReplyWaiter(proxy));
    proxy.createPluginInstance(path.c_str(), "", identifier, false, listener, created);
    return created->waitFor<CreatePluginInstanceReply>(patience);
}

void ClientTest::shutDown(RemotePluginHostProxy& proxy) {
    proxy.shutdown();
    EXPECT_TRUE(eventually([&] { return isZombie(proxy.getChildPid()); })) << "the host runs on";
}

void ClientTest::end(Ref<RemotePluginHostProxy>& proxy) {
    if (proxy)
        shutDown(*proxy);
    proxy = nullptr;
}

testing::AssertionResult ClientTest::hears(size_t deaths) const {
    if (!eventually([&] { return manager->count() >= deaths; }))
        return testing::AssertionFailure() << "the manager has heard of " << manager->count() << " deaths";
    return testing::AssertionSuccess();
}

std::string examplePlugin(const std::string& name) {
    return std::string(EXAMPLE_PLUGIN_DIRECTORY) + "/" + name + ".so";
}

std::string testPlugin(const std::string& name) {
    return std::string(TEST_PLUGIN_DIRECTORY) + "/" + name + ".so";
}

bool isGone(pid_t process) {
    return kill(process, 0) == -1 && errno == ESRCH;
}

bool isZombie(pid_t process) {
    return stateOf(process) == 'Z';
}
