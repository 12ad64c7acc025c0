#include "client/PluginFiles.h"

#include "client/Cancellation.h"
#include "core/Exception.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <set>
#include <sys/stat.h>
#include <utility>

namespace {

bool isVst3Name(const std::string& path) {
    return path.ends_with(".vst3");
}

bool isPluginName(const std::string& path) {
    return path.ends_with(".so") || isVst3Name(path);
}

std::string systemWords() {
    return base::core::lastErrorMessage().toStdString();
}

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

class Walk {
public:
    explicit Walk(const Cancellation& cancellation) : cancellation(cancellation) {}

    std::vector<FoundPluginFile> run(const std::vector<std::string>& roots) {
        for (const std::string& root : roots) {
            visit(root, true);
            while (!pending.empty() && !cancellation.isCancelled()) {
                const std::string path = std::move(pending.back());
                pending.pop_back();
                visit(path, false);
            }
        }
        return std::move(found);
    }

private:
    void visit(const std::string& path, bool isRoot) {
        struct stat status {};
        if (cancellation.isCancelled())
            return;
        if (stat(path.c_str(), &status) != 0) {
            // A link to nowhere is the user's own affair, unless it has the name of a plug-in.
            const bool leadsNowhere = errno == ENOENT || errno == ELOOP;
            if (isRoot || isPluginName(path) || !leadsNowhere)
                found.push_back({path, systemWords()});
        } else if (S_ISDIR(status.st_mode) && !isVst3Name(path))
            enter(path, status);
        else if (isPluginName(path) && (S_ISDIR(status.st_mode) || S_ISREG(status.st_mode)))
            add(path);
    }

    void add(const std::string& path) {
        const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
        if (real == nullptr)
            found.push_back({path, systemWords()});
        else if (files.insert(real.get()).second)
            found.push_back({path, {}});
    }

    /// Reads all names before going deeper: an open folder for each level could exhaust the descriptors.
    void enter(const std::string& path, const struct stat& status) {
        if (!folders.insert({status.st_dev, status.st_ino}).second)
            return;
        const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
        if (folder == nullptr) {
            found.push_back({path, systemWords()});
            return;
        }
        std::vector<std::string> inside;
        const std::string prefix = path.ends_with('/') ? path : path + "/";
        while (const dirent* entry = readdir(folder.get())) {
            const std::string name = entry->d_name;
            if (name != "." && name != ".." && isOfInterest(*entry))
                inside.push_back(prefix + name);
        }
        std::ranges::sort(inside, std::greater());
        pending.insert(pending.end(), inside.begin(), inside.end());
    }

    /// False for what is no folder and has no name of a plug-in, which need not be looked at.
    static bool isOfInterest(const dirent& entry) {
        const bool mayBeFolder =
            entry.d_type == DT_DIR || entry.d_type == DT_LNK || entry.d_type == DT_UNKNOWN;
        return mayBeFolder || isPluginName(entry.d_name);
    }

    const Cancellation& cancellation;
    /// The last one is the next, so that a folder's files come before those of the one behind it.
    std::vector<std::string> pending;
    std::set<std::pair<dev_t, ino_t>> folders;
    /// By their real paths.
    std::set<std::string> files;
    std::vector<FoundPluginFile> found;
};

} // namespace

std::vector<FoundPluginFile> findPluginFiles(const std::vector<std::string>& roots,
                                             const Cancellation& cancellation) {
    return Walk(cancellation).run(roots);
}
