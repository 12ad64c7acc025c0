#include "client/ReportFile.h"

#include "core/FileDescriptor.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isPrivateDirectory(const char* path) {
    struct stat status {};
    return path != nullptr && *path == '/' && stat(path, &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0 &&
           access(path, W_OK | X_OK) == 0;
}

std::string directoryOfReports() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); isPrivateDirectory(runtime))
        return runtime;
    const char* temporary = std::getenv("TMPDIR");
    return temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
}

} // namespace

ReportFile::ReportFile()
    : path(directoryOfReports() + "/plugin-report-XXXXXX"),
      descriptor(base::core::aboveConsole(mkostemp(path.data(), O_CLOEXEC))) {
    if (descriptor < 0)
        throw IOException(base::core::lastErrorMessage());
    // The umask may have cleared the owner's bits.
    fchmod(descriptor, S_IRUSR | S_IWUSR);
}

ReportFile::~ReportFile() {
    unlink(path.c_str());
    close(descriptor);
}

std::string ReportFile::read() const {
    std::string text;
    char piece[16384];
    while (text.size() < mostBytes) {
        const ssize_t count = pread(descriptor, piece, sizeof piece, static_cast<off_t>(text.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        text.append(piece, static_cast<size_t>(count));
    }
    return text;
}
