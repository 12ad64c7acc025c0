#include "client/OutputTail.h"

#include "client/PluginReport.h"

#include <algorithm>

namespace {

constexpr size_t longestLastLine = 400;

/// Calls `action` with each line.
template <class Action>
void forEachLine(std::string_view text, const Action& action) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        action(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

} // namespace

void OutputTail::append(std::string_view more) {
    bytes.append(more);
    if (bytes.size() <= 2 * mostBytes)
        return;
    bytes.erase(0, bytes.size() - mostBytes);
    isCut = true;
}

std::string OutputTail::lines() const {
    std::string text;
    forEachLine(kept(), [&](std::string_view line) { text += readableLine(line) + "\n"; });
    return text;
}

std::string OutputTail::lastLine() const {
    std::string_view last;
    forEachLine(kept(), [&](std::string_view line) {
        if (line.find_first_not_of(" \t\r") != std::string_view::npos)
            last = line.substr(0, longestLastLine);
    });
    return readableLine(last);
}

bool OutputTail::hasLine(std::string_view line) const {
    bool found = false;
    forEachLine(kept(), [&](std::string_view candidate) { found = found || candidate == line; });
    return found;
}

std::string_view OutputTail::kept() const {
    std::string_view text = bytes;
    bool isPart = isCut;
    if (text.size() > mostBytes) {
        text.remove_prefix(text.size() - mostBytes);
        isPart = true;
    }
    // A line whose start is lost is dropped, unless there is no other.
    if (const size_t end = text.find('\n'); isPart && end != std::string_view::npos && end + 1 < text.size())
        text.remove_prefix(end + 1);
    return text;
}
