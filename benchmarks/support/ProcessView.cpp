#include "support/ProcessView.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

std::string readText(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || text.str().empty())
        throw std::runtime_error("Could not read " + path);
    return text.str();
}

/// The number behind "name:" at the start of a line.
int64_t field(const std::string& text, const std::string& name) {
    const size_t start = ("\n" + text).find("\n" + name + ":");
    if (start == std::string::npos)
        throw std::runtime_error("The kernel doesn't tell " + name);
    return std::stoll(text.substr(start + name.size() + 1));
}

} // namespace

std::vector<pid_t> ProcessView::threads() const {
    std::vector<pid_t> ids;
    for (const auto& entry : std::filesystem::directory_iterator(directory() + "/task"))
        ids.push_back(std::stoi(entry.path().filename()));
    return ids;
}

pid_t ProcessView::threadNamed(const std::string& name) const {
    const std::string line = name.substr(0, 15) + "\n";
    for (const pid_t thread : threads()) {
        if (readText(threadDirectory(thread) + "/comm") == line)
            return thread;
    }
    throw std::runtime_error("No thread has the name " + name);
}

ProcessView::Memory ProcessView::memory() const {
    constexpr double kilobytesInMegabyte = 1024;
    const std::string text = readText(directory() + "/smaps_rollup");
    const auto clean = static_cast<double>(field(text, "Private_Clean"));
    const auto dirty = static_cast<double>(field(text, "Private_Dirty"));
    return {static_cast<double>(field(text, "Rss")) / kilobytesInMegabyte,
            (clean + dirty) / kilobytesInMegabyte, dirty / kilobytesInMegabyte};
}

double ProcessView::cpuSeconds() const {
    double nanoseconds = 0;
    for (const pid_t thread : threads())
        nanoseconds += std::stod(readText(threadDirectory(thread) + "/schedstat"));
    return nanoseconds / 1e9;
}

int64_t ProcessView::voluntarySwitches() const {
    int64_t switches = 0;
    for (const pid_t thread : threads())
        switches += field(readText(threadDirectory(thread) + "/status"), "voluntary_ctxt_switches");
    return switches;
}
