#include "plugin/PluginFile.h"

#include <cerrno>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using base::core::lastErrorMessage;

namespace {

constexpr const char* notForThisMachine = "is not for this kind of machine";
constexpr const char* noSharedLibrary = "is no shared library";
constexpr const char* cutOff = "is cut off";

struct Elf32 {
    using Header = Elf32_Ehdr;
    using Segment = Elf32_Phdr;
    static constexpr HostWidth width = HostWidth::bits32;
    static constexpr Elf32_Half machine = EM_386;
};

struct Elf64 {
    using Header = Elf64_Ehdr;
    using Segment = Elf64_Phdr;
    static constexpr HostWidth width = HostWidth::bits64;
    static constexpr Elf64_Half machine = EM_X86_64;
};

/// A library is for hosts of a width, or has a problem: the end of a sentence that begins with its path.
struct Library {
    std::optional<HostWidth> width;
    String problem;
};

Library failedWith(const char* problem) {
    return {.width = {}, .problem = problem};
}

Library failedCall() {
    return {.width = {}, .problem = concat("can't be read: ", lastErrorMessage())};
}

/// A file that is open for reading; one that can't be opened has -1, and `errno`.
class OpenFile : public NonCopyable, public NonMovable {
public:
    // Even if the path has become a FIFO or a terminal meanwhile, this has no effect on either and returns.
    explicit OpenFile(const String& path)
        : descriptor(open(path.toStdString().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~OpenFile() {
        if (descriptor >= 0)
            close(descriptor);
    }

    int get() const { return descriptor; }

    /// False at the end of the file and for a failed read.
    template <class Record>
    bool read(Record& record, uint64_t offset) const {
        auto* target = reinterpret_cast<char*>(&record);
        for (size_t done = 0; done < sizeof record;) {
            const ssize_t count =
                pread(descriptor, target + done, sizeof record - done, static_cast<off_t>(offset + done));
            if (count == 0 || (count < 0 && errno != EINTR))
                return false;
            done += count > 0 ? static_cast<size_t>(count) : 0;
        }
        return true;
    }

private:
    const int descriptor;
};

/// Whether `size` bytes at `offset` lie within a file, for values of any size.
bool liesWithin(uint64_t offset, uint64_t size, uint64_t fileSize) {
    return offset <= fileSize && size <= fileSize - offset;
}

/// The file's identification is read and of this class and byte order.
template <class Elf>
Library inspectHeaders(const OpenFile& file, uint64_t fileSize) {
    typename Elf::Header header;
    if (!file.read(header, 0))
        return failedWith(cutOff);
    if (header.e_machine != Elf::machine)
        return failedWith(notForThisMachine);
    if (header.e_type != ET_DYN || header.e_phentsize != sizeof(typename Elf::Segment))
        return failedWith(noSharedLibrary);
    if (!liesWithin(header.e_phoff, uint64_t{header.e_phnum} * header.e_phentsize, fileSize))
        return failedWith(cutOff);
    // The loader maps what is missing at the end as well, and dies as it touches it.
    for (uint64_t i = 0; i < header.e_phnum; ++i) {
        typename Elf::Segment segment;
        if (!file.read(segment, header.e_phoff + i * header.e_phentsize))
            return failedWith(cutOff);
        if (segment.p_type == PT_LOAD && !liesWithin(segment.p_offset, segment.p_filesz, fileSize))
            return failedWith(cutOff);
    }
    return {.width = Elf::width, .problem = {}};
}

Library inspectLibrary(const String& path) {
    struct stat status {};
    if (stat(path.toStdString().c_str(), &status) != 0)
        return failedCall();
    if (!S_ISREG(status.st_mode))
        return failedWith("is no file");
    const OpenFile file(path);
    if (file.get() < 0 || fstat(file.get(), &status) != 0)
        return failedCall();
    unsigned char identification[EI_NIDENT];
    if (!S_ISREG(status.st_mode) || !file.read(identification, 0) ||
        std::memcmp(identification, ELFMAG, SELFMAG) != 0 || identification[EI_VERSION] != EV_CURRENT)
        return failedWith(noSharedLibrary);
    // In the other byte order the rest can't be read.
    if (identification[EI_DATA] != ELFDATA2LSB)
        return failedWith(notForThisMachine);
    const auto size = static_cast<uint64_t>(status.st_size);
    if (identification[EI_CLASS] == ELFCLASS32)
        return inspectHeaders<Elf32>(file, size);
    if (identification[EI_CLASS] == ELFCLASS64)
        return inspectHeaders<Elf64>(file, size);
    return failedWith(noSharedLibrary);
}

/// Throws unless the path is a file, or a folder that a VST 3 host takes for a bundle.
void requireFileOrBundle(const String& path, PluginFormat format) {
    const auto fail = [&](const auto&... reason) {
        throw IOException(concat("Could not inspect plug-in \"", path, "\": ", reason...));
    };
    struct stat status {};
    if (stat(path.toStdString().c_str(), &status) != 0)
        fail(lastErrorMessage());
    if (S_ISREG(status.st_mode))
        return;
    if (!S_ISDIR(status.st_mode))
        fail("It is neither a file nor a bundle");
    const bool isBundle = format == PluginFormat::vst3 && !(vst3Library(path, ownWidth, false) == path);
    if (!isBundle) {
        errno = EISDIR;
        fail("It is neither a file nor a bundle: ", lastErrorMessage());
    }
}

} // namespace

PluginFile inspectPluginFile(const String& path) {
    PluginFile found;
    found.format = isVst3Path(path) ? PluginFormat::vst3 : PluginFormat::vst2;
    requireFileOrBundle(path, found.format);
    StringBuilder problems;
    String former;
    for (const HostWidth width : {HostWidth::bits32, HostWidth::bits64}) {
        const String candidate = found.format == PluginFormat::vst3 ? vst3Library(path, width, true) : path;
        const Library library = inspectLibrary(candidate);
        if (library.width == width)
            (width == HostWidth::bits32 ? found.library32 : found.library64) = candidate;
        if (candidate == former)
            continue;
        former = candidate;
        const String problem = library.width
                                   ? concat("is for ", static_cast<int32_t>(*library.width), "-bit hosts")
                                   : library.problem;
        problems.append(concat(problems.length() > 0 ? "; " : "", candidate, " ", problem));
    }
    if (found.library32.isEmpty() && found.library64.isEmpty())
        found.problem = problems.toString();
    return found;
}
