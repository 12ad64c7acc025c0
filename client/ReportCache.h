#pragma once

#include "client/ReportKey.h"
#include "client/ReportOutcome.h"
#include "core/Guarded.h"
#include "plugin/CoreNames.h"

#include <map>
#include <optional>
#include <string>

/// Outcomes of reports, so that a file is loaded again only once it has changed: failures too, so that a
/// plug-in that crashes or hangs isn't started at each scan. In memory, and in a directory if one is given,
/// which several processes may share: a file for each entry, written under another name and renamed. A file
/// that is damaged, foreign or another user's counts as missing.
///
/// Any thread but a real-time one.
class ReportCache : public NonCopyable, public NonMovable {
public:
    /// In memory alone.
    ReportCache() = default;
    /// Makes the directory, an absolute path, with those above it, for this user alone. Throws `IOException`
    /// if that fails or the directory is another user's.
    explicit ReportCache(const std::string& directory);

    /// The outcome for a state of a file and a program. None that was killed at a shorter time limit than
    /// `timeLimit`, in seconds.
    std::optional<ReportOutcome> find(const ReportKey& key, double timeLimit);

    /// Keeps an outcome if it is lasting, in the place of one for another state of the file. False if it is
    /// kept in memory alone though there is a directory, as on a full disk.
    bool store(const ReportKey& key, double timeLimit, const ReportOutcome& outcome);

    /// Drops the entries whose library or program is gone, of all processes, with damaged files and what
    /// killed processes left behind. Returns the number of entries dropped from the directory, or without
    /// one from memory.
    size_t dropGone();

private:
    struct Entry {
        ReportKey key;
        double timeLimit;
        ReportOutcome outcome;
    };

    /// By `ReportKey::identity`.
    using Entries = std::map<std::string, Entry>;

    static std::string encode(const Entry& entry);
    static std::optional<Entry> decode(const std::string& text);
    static bool isGone(const Entry& entry);
    std::string pathOf(const std::string& identity) const;
    std::optional<Entry> readEntry(const std::string& path) const;
    bool writeEntry(const std::string& path, const std::string& text) const;
    size_t dropGoneFiles() const;

    /// Empty: memory alone.
    const std::string directory;
    base::core::Guarded<Entries> entries;
};
