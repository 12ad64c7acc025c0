#include "library/KeptState.h"

namespace client_library {

KeptState::KeptState(const Ref<StateFolder>& folder, const std::vector<uint8_t>& initialState,
                     const std::function<void()>& outdated)
    : outdated(outdated), folder(folder), name(folder ? folder->makeName() : std::string()) {
    if (!initialState.empty())
        setState(initialState);
}

KeptState::~KeptState() {
    if (folder)
        folder->remove(name);
}

KeptState::Bytes KeptState::getState() const {
    const auto current = state.lock();
    return current->isInFile ? folder->read(name) : current->bytes;
}

void KeptState::setState(Bytes bytes) {
    const auto current = state.lock();
    if (folder) {
        folder->write(name, bytes);
        current->isInFile = true;
    } else {
        std::swap(current->bytes, bytes);
    }
}

void KeptState::setParameterCount(size_t count) {
    if (values)
        return;
    values.reset(new Value[count]);
    valueCount.store(count, std::memory_order_release);
}

void KeptState::noteChange(uint32_t index, float value) noexcept {
    if (index >= valueCount.load(std::memory_order_acquire))
        return;
    values[index].value.store(value, std::memory_order_relaxed);
    values[index].isNoted.store(true, std::memory_order_release);
}

std::vector<KeptState::Change> KeptState::getChanges() const {
    std::vector<Change> changes;
    const size_t count = valueCount.load(std::memory_order_acquire);
    for (uint32_t index = 0; index < count; ++index) {
        if (values[index].isNoted.load(std::memory_order_acquire))
            changes.push_back({index, values[index].value.load(std::memory_order_relaxed)});
    }
    return changes;
}

std::vector<KeptState::Change> KeptState::takeChanges() {
    std::vector<Change> changes;
    const size_t count = valueCount.load(std::memory_order_acquire);
    for (uint32_t index = 0; index < count; ++index) {
        if (values[index].isNoted.exchange(false, std::memory_order_acq_rel))
            changes.push_back({index, values[index].value.load(std::memory_order_relaxed)});
    }
    return changes;
}

void KeptState::restoreChanges(const std::vector<Change>& changes) noexcept {
    for (const Change& change : changes) {
        if (!values[change.index].isNoted.load(std::memory_order_acquire))
            noteChange(change.index, change.value);
    }
}

} // namespace client_library
