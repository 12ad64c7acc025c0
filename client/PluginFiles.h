#pragma once

#include <string>
#include <vector>

class Cancellation;

/// What a walk through folders finds.
struct FoundPluginFile {
    std::string path;
    /// Why it can't be read, in the system's own words; empty if it can.
    std::string failure;
};

/// Walks through folders, with those below them: regular files whose names end in ".so" or ".vst3", and
/// directories that end in ".vst3", whose inside is left out. A root may also be such a file itself. Links
/// are followed; each folder, and each file by its real path, counts once, so a circle of links ends. A
/// folder or a file that can't be read is an entry with its failure. Sorted within each folder. Ends early,
/// with what it has, by `cancellation`. Any thread.
std::vector<FoundPluginFile> findPluginFiles(const std::vector<std::string>& roots,
                                             const Cancellation& cancellation);
