#include "client/AudioThreadProxy.h"

#include "plugin/Channels.h"

#include <algorithm>
#include <cstring>
#include <utility>

using base::core::NamedPipe;
using base::core::NamedServerPipe;

namespace {

constexpr int32_t noInstance = 0;
constexpr size_t answerSize = sizeof(int32_t);

int64_t nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

} // namespace

AudioThreadProxy::AudioThreadProxy(int32_t hostId, int32_t index)
    : pipe(NamedServerPipe::create(workerChannelName(hostId, index), true)), underway(mostUnderway),
      commands(mostUnderway * processCommandSize) {}

AudioThreadProxy::~AudioThreadProxy() = default;

AudioThreadProxy::Exchange::Exchange(AudioThreadProxy& worker) : worker(worker) {
    worker.requireStep();
    worker.inStep = false;
}

void AudioThreadProxy::requireStep() const {
    if (!inStep)
        throw IOException("Audio worker can't be used after a command that failed");
}

void AudioThreadProxy::open() {
    const Ref<NamedPipe> opened = pipe->open();
    input = opened->getInput().get();
    output = opened->getOutput().get();
    // Half of it, as a page that was read in part still counts as full.
    limit = std::clamp(opened->getCapacity() / 2 / processCommandSize, size_t{1}, mostUnderway);
}

bool AudioThreadProxy::isAnswered(uint64_t number) {
    if (number > answered) {
        constexpr timespec past{};
        requireStep();
        waitForAnswers(&past);
    }
    return number <= answered;
}

void AudioThreadProxy::awaitAnswer(uint64_t number) {
    requireStep();
    while (number > answered)
        takeAnswers();
}

bool AudioThreadProxy::add(WorkerBlock& block) {
    requireStep();
    block.state = WorkerBlock::State::underway;
    block.next = nullptr;
    (firstUnsent == nullptr ? firstUnsent : lastUnsent->next) = &block;
    lastUnsent = &block;
    return unfinished++ == 0;
}

void AudioThreadProxy::send() {
    if (firstUnsent == nullptr || getRoom() == 0)
        return;
    try {
        Exchange exchange(*this);
        const bool wasIdle = sent == answered;
        uint8_t* end = commands.data();
        for (size_t room = getRoom(); firstUnsent != nullptr && room > 0; --room) {
            WorkerBlock& block = *firstUnsent;
            end = appendProcess(end, block.command);
            *block.lastNumber = ++sent;
            at(sent).instanceId = block.command.instanceId;
            at(sent).block = &block;
            firstUnsent = block.next;
        }
        publishedSent = static_cast<uint32_t>(sent);
        if (wasIdle)
            noteBegin();
        // Either at once or, in a smaller number, by the flush.
        output->write(commands.data(), static_cast<size_t>(end - commands.data()));
        output->flush();
        exchange.complete();
    } catch (const IOException&) {
        giveUp(WorkerBlock::State::lost);
        throw;
    }
}

bool AudioThreadProxy::finish(const timespec* deadline) {
    try {
        while (unfinished > 0) {
            if (!waitForAnswers(deadline)) {
                giveUp(WorkerBlock::State::late);
                return false;
            }
            // In portions of some size.
            if (firstUnsent != nullptr && getRoom() >= limit / 2)
                send();
        }
        return true;
    } catch (const IOException&) {
        giveUp(WorkerBlock::State::lost);
        throw;
    }
}

AudioThreadProxy::Progress AudioThreadProxy::getProgress() const {
    const auto unread = static_cast<uint32_t>(pipe->getPipe()->countUnreadInput() / answerSize);
    const uint32_t current = publishedAnswered + unread + 1;
    const bool isUnderway = static_cast<int32_t>(publishedSent - current) >= 0;
    return {isUnderway ? int32_t{underway[current % mostUnderway].instanceId} : noInstance,
            nanoseconds() - begin.load(std::memory_order_relaxed)};
}

void AudioThreadProxy::noteBegin() {
    begin.store(nanoseconds(), std::memory_order_relaxed);
}

bool AudioThreadProxy::waitForAnswers(const timespec* deadline) {
    if (deadline != nullptr && input->available() == 0 && !pipe->getPipe()->waitForInput(*deadline))
        return false;
    takeAnswers();
    return true;
}

// One read.
void AudioThreadProxy::takeAnswers() {
    uint8_t bytes[1024];
    std::memcpy(bytes, part, partSize);
    // Until it has succeeded, an answer may be lost.
    inStep = false;
    const size_t count = input->read(bytes + partSize, sizeof bytes - partSize);
    if (count == 0)
        throw EOSException();
    const size_t size = partSize + count;
    const size_t whole = size / answerSize * answerSize;
    for (size_t place = 0; place < whole; place += answerSize) {
        uint32_t value;
        std::memcpy(&value, bytes + place, answerSize);
        takeAnswer(static_cast<int32_t>(__builtin_bswap32(value)));
    }
    partSize = size - whole;
    std::memcpy(part, bytes + whole, partSize);
    publishedAnswered = static_cast<uint32_t>(answered);
    if (answered != sent)
        noteBegin();
    inStep = true;
}

void AudioThreadProxy::takeAnswer(int32_t result) {
    if (answered == sent)
        throw IOException("Audio worker gave an answer without a question");
    ++answered;
    WorkerBlock* block = std::exchange(at(answered).block, nullptr);
    if (block == nullptr)
        return;
    block->result = result;
    block->state = WorkerBlock::State::done;
    --unfinished;
}

void AudioThreadProxy::giveUp(WorkerBlock::State state) {
    for (uint64_t number = answered; number != sent;) {
        if (WorkerBlock* block = std::exchange(at(++number).block, nullptr))
            block->state = state;
    }
    for (; firstUnsent != nullptr; firstUnsent = firstUnsent->next)
        firstUnsent->state = state;
    unfinished = 0;
}
