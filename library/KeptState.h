#pragma once

#include "core/Guarded.h"
#include "library/StateFolder.h"
#include "plugin/CoreNames.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace client_library {

/// What a session keeps of a plug-in, so that it can come back in another host: its state as bytes, the
/// values that changed since, and its editor. Shared by the lives of a plug-in. Any thread.
class KeptState : public Object {
public:
    /// Without a `folder` the state is in memory. `initialState` may be empty. `outdated` is called once the
    /// state isn't what was kept, in a way that isn't noted; on any thread, also after the end of the
    /// session.
    KeptState(const Ref<StateFolder>& folder, const std::vector<uint8_t>& initialState,
              const std::function<void()>& outdated);
    ~KeptState() override;

    using Bytes = StateFolder::Bytes;
    /// Empty while there is none. Throw `IOException` for what the folder's files don't give and take; the
    /// former state stays.
    Bytes getState() const;
    void setState(Bytes bytes);

    struct Change {
        uint32_t index;
        float value;
    };
    /// Makes room for the values of so many parameters, before the first is noted. Only the first call has an
    /// effect.
    void setParameterCount(size_t count);
    /// Parameters beyond the count are ignored. Real-time safe.
    void noteChange(uint32_t index, float value) noexcept;
    /// What was noted, in the order of the parameters.
    std::vector<Change> getChanges() const;
    /// The same, and forgets it.
    std::vector<Change> takeChanges();
    /// Notes again what was taken, but for what was noted since.
    void restoreChanges(const std::vector<Change>& changes) noexcept;

    void setOutdated() {
        isOutdated = true;
        outdated();
    }
    bool takeOutdated() { return isOutdated.exchange(false); }

    struct Editor {
        bool isOpen = false;
        uint64_t parentWindow = 0;
        String title;
        // In pixels.
        bool hasPlace = false;
        int32_t x = 0;
        int32_t y = 0;
        int32_t width = 0;
        int32_t height = 0;
    };
    base::core::Guarded<Editor> editor;

    /// It is to blame for the end of its host, or couldn't come back: it stays away until the application
    /// wants it.
    std::atomic<bool> isAway{false};
    /// Attempts to bring it back that have failed since it was there. Of who makes them.
    int failures = 0;

private:
    struct Value {
        std::atomic<float> value{0};
        std::atomic<bool> isNoted{false};
    };

    const std::function<void()> outdated;
    const Ref<StateFolder> folder;
    /// Of its file, in the folder.
    const std::string name;
    struct State {
        /// Empty with a folder.
        Bytes bytes;
        bool isInFile = false;
    };
    base::core::Guarded<State> state;
    std::unique_ptr<Value[]> values;
    /// Published with `values`.
    std::atomic<size_t> valueCount{0};
    std::atomic<bool> isOutdated{false};
};

} // namespace client_library
