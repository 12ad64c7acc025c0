#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace test_support {

/// What was called in which order, across the fakes of a test. Any thread.
class CallLog {
public:
    void add(const std::string& entry) {
        const std::lock_guard lock(mutex);
        entries.push_back(entry);
    }

    std::vector<std::string> all() const {
        const std::lock_guard lock(mutex);
        return entries;
    }

    size_t count(const std::string& entry) const {
        const std::lock_guard lock(mutex);
        return static_cast<size_t>(std::count(entries.begin(), entries.end(), entry));
    }

    void clear() {
        const std::lock_guard lock(mutex);
        entries.clear();
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> entries;
};

} // namespace test_support
