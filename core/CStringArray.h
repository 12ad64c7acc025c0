#pragma once

#include "core/Object.h"
#include "core/String.h"

#include <string>
#include <vector>

namespace base::core {

/// A null-terminated array of copies, the form of the exec calls.
class CStringArray : public NonCopyable {
public:
    CStringArray() = default;
    explicit CStringArray(const std::vector<String>& list);
    ~CStringArray();

    /// Throws `IOException` if there is no memory for the copy.
    void add(const std::string& text);

    /// Valid until the next `add`.
    char* const* data() const { return texts.data(); }

private:
    std::vector<char*> texts{nullptr};
};

} // namespace base::core
