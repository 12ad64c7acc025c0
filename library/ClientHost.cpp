#include "library/ClientHost.h"

#include "client/RemotePluginHostProxyManager.h"
#include "client/StartWatch.h"
#include "core/CloseQuietly.h"
#include "library/ClientPlugin.h"
#include "library/ClientSession.h"
#include "library/Failure.h"
#include "library/HostDeath.h"
#include "library/HostWatch.h"

#include <algorithm>
#include <sys/wait.h>
#include <unistd.h>

using base::core::ChildProcess;
using base::core::FileDescriptor;

namespace client_library {
namespace {

constexpr int64_t lossPatience = 500'000'000; // nanoseconds, for a process whose pipes are gone
constexpr int lossRounds = 50;                // milliseconds
constexpr int endPatience = 2000;             // milliseconds
constexpr const char* deadText = "The plug-in host is gone";

int64_t nanoseconds() {
    const timespec now = monotonicTime();
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

HostOptions optionsFor(const HostSettings& settings) {
    HostOptions options(settings.program);
    options.sampleRate = settings.sampleRate;
    options.blockSize = settings.blockSize;
    options.workerCount = settings.workerCount;
    if (settings.hasLibraryPath)
        options.environment["LD_LIBRARY_PATH"] = settings.libraryPath;
    options.environment["TANVEX_PLUGIN_HOST_EXTENSIONS"] = settings.extensions;
    options.isWatched = true;
    // The application ends it, after it has saved what it has to.
    options.ignoresTerminalKeys = true;
    options.startTimeLimit = settings.startTimeLimit;
    return options;
}

// A plug-in takes itself out of the list before it ends.
void addIfAlive(std::vector<Ref<ClientPlugin>>& list, ClientPlugin* plugin) {
    if (!base::core::tryRetain(plugin))
        return;
    list.emplace_back(plugin);
    base::core::release(plugin);
}

} // namespace

/// Passes on what the proxy reports, to a host that outlives it.
class ClientHost::EndReceiver : public RemotePluginHostProxyManager {
public:
    explicit EndReceiver(ClientHost& host) : host(host) {}

    void hostDied(RemotePluginHostProxy&, const String&, bool) override { host.hostDied(); }

private:
    ClientHost& host;
};

ClientHost::ClientHost(const Ref<SessionContext>& context, const Ref<HostWatch>& watch,
                       const HostSettings& settings)
    : settings(settings), context(context), watch(watch), endReceiver(new EndReceiver(*this)),
      turns(new WorkerTurn[static_cast<size_t>(settings.workerCount)]) {}

ClientHost::~ClientHost() {
    end();
}

void ClientHost::start(const base::core::EventDescriptor* cancellation) {
    const base::core::ScopedLogReceiver log(new SessionLog(context, handle));
    HostOptions options = optionsFor(settings);
    options.cancellation = cancellation;
    options.ignoresBrokenPipes = !context->keepsBrokenPipes;
    options.manager = endReceiver.get();
    {
        const auto streams = output.lock();
        options.output = streams->standardOutput.getWriter();
        options.error = streams->standardError.getWriter();
    }
    watch->add(this);
    try {
        proxy = new RemotePluginHostProxy(options);
        answers = std::make_unique<FileDescriptor>(proxy->duplicateAnswerDescriptor());
    } catch (...) {
        watch->remove(*this);
        const Failure failure = currentFailure();
        failStart(failure.status, failure.text);
    }
    pid = proxy->getChildPid();
    {
        const auto streams = output.lock();
        streams->standardOutput.closeWriter();
        streams->standardError.closeWriter();
    }
    isUp.store(true, std::memory_order_release);
    watch->wake();
}

void ClientHost::failStart(plugin_host_status status, const std::string& reason) {
    dead = true;
    isSettled = true;
    takeOutput(true);
    const auto streams = output.lock();
    const std::string& lastLine = streams->standardError.getLastLine();
    throw Failure(status == PLUGIN_HOST_SYSTEM_ERROR ? PLUGIN_HOST_START_FAILED : status,
                  lastLine.empty() ? reason : reason + ": " + lastLine);
}

void ClientHost::end() {
    if (isEnding.exchange(true))
        return;
    dead = true;
    isSettled = true;
    requests.close();
    if (!isUp)
        return;
    try {
        proxy->shutdown();
    } catch (const Exception&) {
        // It has died at this moment.
    }
    // Creations that wait for an answer.
    for (const Ref<ClientPlugin>& plugin : getPlugins())
        plugin->hostDied();
    // Not by a shutdown of a host that has died; they have references to this.
    proxy->dropReceivers();
    if (!waitForEnd(endPatience)) {
        proxy->abandon();
        waitForEnd(-1);
    }
    watch->remove(*this);
    takeOutput(true);
}

bool ClientHost::waitForEnd(int milliseconds) const {
    const ChildProcess& child = proxy->getChild();
    pollfd end{child.getEndDescriptor(), POLLIN, 0};
    // Without such a descriptor the time passes, and the child is killed.
    if (!child.hasEnded())
        poll(&end, 1, end.fd < 0 ? std::max(milliseconds, 0) : milliseconds);
    return child.hasEnded();
}

void ClientHost::kill() {
    requireLife();
    proxy->abandon();
}

void ClientHost::requireLife() const {
    if (isDead())
        throw Failure(PLUGIN_HOST_DEAD, deadText);
    if (!isUp.load(std::memory_order_acquire))
        throw Failure(PLUGIN_HOST_INVALID_STATE, "The plug-in host isn't up yet");
}

void ClientHost::send(const char* name, int32_t instanceId, const Call& call) {
    requireLife();
    const base::core::ScopedLock order(sendLock);
    requests.add(name, instanceId);
    requests.addPing();
    call(*proxy);
    try {
        proxy->sendPing();
    } catch (const IOException&) {
        // The host has died since: the request was sent.
    }
}

void ClientHost::sendWithReply(const char* name, int32_t instanceId,
                               const std::function<void(RemotePluginHostProxy&, RequestLog::Number)>& call,
                               const ClientPlugin* created) {
    requireLife();
    const base::core::ScopedLock order(sendLock);
    call(*proxy, requests.add(name, instanceId, created));
}

void ClientHost::ping(double seconds) {
    requireLife();
    RequestLog::Number number = 0;
    {
        const base::core::ScopedLock order(sendLock);
        number = requests.addPing();
        proxy->sendPing();
    }
    if (requests.waitForEnd(number, base::core::monotonicDeadline(seconds)))
        return;
    requireLife();
    throw Failure(PLUGIN_HOST_TIMED_OUT, "The plug-in host gave no answer in time");
}

void ClientHost::addPlugin(ClientPlugin& plugin) {
    plugins.lock()->emplace(&plugin, RequestLog::noInstance);
}

void ClientHost::removePlugin(ClientPlugin& plugin) {
    plugins.lock()->erase(&plugin);
}

void ClientHost::setInstance(ClientPlugin& plugin, int32_t instanceId) {
    (*plugins.lock())[&plugin] = instanceId;
}

std::optional<int32_t> ClientHost::takeWorker() {
    const auto taken = takenWorkers.lock();
    taken->resize(static_cast<size_t>(settings.workerCount));
    const auto free = std::ranges::find(*taken, false);
    if (free == taken->end())
        return std::nullopt;
    *free = true;
    return static_cast<int32_t>(free - taken->begin());
}

void ClientHost::returnWorker(int32_t worker) {
    (*takenWorkers.lock())[static_cast<size_t>(worker)] = false;
}

void ClientHost::reportLoss() {
    dead = true;
    watch->wake();
}

void ClientHost::addSources(std::vector<pollfd>& sources) const {
    const auto streams = output.lock();
    for (const HostOutput* stream : {&streams->standardOutput, &streams->standardError}) {
        if (stream->getReader() >= 0)
            sources.push_back({stream->getReader(), POLLIN, 0});
    }
    // An end that was seen stays readable: from then on the watch looks from time to time.
    if (!isUp.load(std::memory_order_acquire) || isSettled || lossTime != 0)
        return;
    sources.push_back({answers->get(), POLLIN, 0});
    sources.push_back({proxy->getChild().getEndDescriptor(), POLLIN, 0});
}

void ClientHost::noteLateness() {
    if (settings.hangTimeLimit > 0 && !hasLateness.exchange(true))
        watch->wake();
}

int ClientHost::getPatience() const {
    if (isSettled)
        return -1;
    if (lossTime != 0)
        return lossRounds;
    return hasLateness ? hangPatience.load() : -1;
}

void ClientHost::attend() {
    takeOutput(false);
    if (!isUp.load(std::memory_order_acquire) || isSettled)
        return;
    takeAnswers();
    attendToLateness();
    attendToDeath();
}

void ClientHost::hostDied() {
    dead = true;
    requests.close();
    watch->wake();
}

void ClientHost::takeOutput(bool toTheEnd) {
    const auto streams = output.lock();
    const auto take = [&](HostOutput& stream, plugin_host_log_source source) {
        const auto receive = [&](std::string_view line) { context->log(handle, source, line); };
        if (stream.getReader() < 0)
            return;
        // What is there is bounded by the pipe if the child has ended, unless a process that it started has
        // it.
        for (int turn = 0; !stream.read(receive) && toTheEnd && turn < 4; ++turn) {
        }
        if (toTheEnd && stream.getReader() >= 0)
            stream.finish(receive);
    };
    take(streams->standardOutput, PLUGIN_HOST_LOG_STANDARD_OUTPUT);
    take(streams->standardError, PLUGIN_HOST_LOG_STANDARD_ERROR);
}

void ClientHost::takeAnswers() {
    pollfd source{answers->get(), POLLIN, 0};
    if (source.fd < 0 || poll(&source, 1, 0) != 1)
        return;
    try {
        if (const size_t count = proxy->readPingAnswers(); count > 0) {
            requests.endPings(count);
            return;
        }
    } catch (const IOException& exception) {
        context->log(handle, PLUGIN_HOST_LOG_LIBRARY, exception.getMessage().toStdString());
    }
    answers->close();
    lossTime = lossTime == 0 ? nanoseconds() : lossTime.load();
    dead = true;
}

void ClientHost::attendToLateness() {
    if (!hasLateness || isDead())
        return;
    double longest = 0;
    bool isIdle = true;
    for (int32_t worker = 0; worker < settings.workerCount; ++worker) {
        const AudioThreadProxy::Progress progress = proxy->getAudioThread(worker).getProgress();
        if (progress.instanceId == RequestLog::noInstance)
            continue;
        isIdle = false;
        longest = std::max(longest, static_cast<double>(progress.time) * 1e-9);
    }
    if (longest > settings.hangTimeLimit) {
        isHung = true;
        dead = true;
        proxy->abandon();
    } else if (isIdle) {
        hasLateness = false;
    } else {
        hangPatience = static_cast<int>((settings.hangTimeLimit - longest) * 1e3) + 1;
    }
}

void ClientHost::attendToDeath() {
    const bool hasEnded = proxy->getChild().hasEnded();
    if (!hasEnded && !proxy->isClosed() && !isDead())
        return;
    if (lossTime == 0)
        lossTime = nanoseconds();
    const bool isOverdue = nanoseconds() - lossTime > lossPatience;
    // The reply thread closes the proxy once it has read all that the host had answered before its end.
    if (hasEnded && (proxy->isClosed() || isOverdue))
        reportDeath();
    else if (!hasEnded && isOverdue)
        proxy->abandon();
}

void ClientHost::reportDeath() {
    if (isSettled.exchange(true))
        return;
    // Its pipes may be open in processes that it has started.
    proxy->noteEndOfChild();
    dead = true;
    const HostDeath death = describeDeath();
    requests.close();
    takeOutput(true);
    watch->remove(*this);
    const Ref<ClientHost> self(this);
    context->log(handle, PLUGIN_HOST_LOG_LIBRARY, death.describe());
    // First, since all calls on them answer that by the time of the report.
    for (const Ref<ClientPlugin>& plugin : getPlugins())
        plugin->hostDied();
    auto& owner = static_cast<ClientSession&>(*session);
    // First, since the callback may want the one to blame back.
    owner.noteBlame(death);
    context->post([self, death](const plugin_host_callbacks& callbacks) {
        if (callbacks.host_died != nullptr)
            death.report(callbacks, self->handle);
    });
    proxy->dropReceivers();
    isReported.store(true, std::memory_order_release);
    owner.noteDeath();
}

HostDeath ClientHost::describeDeath() const {
    HostDeath death;
    if (const std::optional<int> status = proxy->getChild().peekStatus()) {
        death.end = base::core::describeStatus(*status).toStdString();
        if (WIFSIGNALED(*status))
            death.signal = WTERMSIG(*status);
        else
            death.exitStatus = WEXITSTATUS(*status);
    } else {
        death.end = "ended, and someone else took its status";
    }
    death.isHung = isHung;
    if (isHung)
        death.end = "hung and was ended";
    // The one that has been at its block for longest: it may be what the others wait for.
    for (int32_t worker = 0; worker < settings.workerCount; ++worker) {
        const AudioThreadProxy::Progress progress = proxy->getAudioThread(worker).getProgress();
        const double seconds = static_cast<double>(progress.time) * 1e-9;
        if (progress.instanceId != RequestLog::noInstance && seconds > death.block.seconds)
            death.block = {findPlugin(progress.instanceId), {}, seconds};
    }
    if (const std::optional<RequestLog::Request> request = requests.getOldest()) {
        death.request = request->name;
        death.requestOf = {findPlugin(request->instanceId, request->created),
                           request->createdPath.toStdString(), secondsSince(request->begin)};
    }
    return death;
}

std::vector<Ref<ClientPlugin>> ClientHost::getPlugins() const {
    std::vector<Ref<ClientPlugin>> all;
    const auto current = plugins.lock();
    for (const auto& [plugin, instanceId] : *current)
        addIfAlive(all, plugin);
    return all;
}

Ref<ClientPlugin> ClientHost::findPlugin(int32_t instanceId, const ClientPlugin* created) const {
    std::vector<Ref<ClientPlugin>> found;
    const auto current = plugins.lock();
    for (const auto& [plugin, id] : *current) {
        if (plugin == created || (id == instanceId && id != RequestLog::noInstance))
            addIfAlive(found, plugin);
    }
    return found.empty() ? nullptr : found.front();
}

} // namespace client_library
