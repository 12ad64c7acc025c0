#include "client/ReportCache.h"

#include "client/FieldText.h"
#include "core/FileDescriptor.h"
#include "core/ReadableText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <md5.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

using base::core::aboveConsole;
using base::core::FileDescriptor;
using base::core::lastErrorMessage;

namespace {

constexpr std::string_view formatName = "plug-in report 1";
constexpr std::string_view fileSuffix = ".report";
constexpr size_t digestLength = 2 * MD5_DIGEST_LENGTH;
constexpr off_t largestFile = off_t(32) << 20;
constexpr size_t mostDeviceTypes = 4;

std::string digestOf(std::string_view text) {
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    std::array<uint8_t, MD5_DIGEST_LENGTH> digest;
    MD5Final(digest.data(), &context);
    std::string hexadecimal;
    for (const uint8_t byte : digest) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        hexadecimal += digits;
    }
    return hexadecimal;
}

/// Whether `name` is one that an entry's file has, or had while it was being written.
bool isEntryName(const std::string& name) {
    return name.find_first_not_of("0123456789abcdef") == digestLength &&
           name.compare(digestLength, fileSuffix.size(), fileSuffix) == 0;
}

/// Calls `field` with each field of a stamp, in the order of the file.
template <class Stamp, class Field>
void forEachField(Stamp& stamp, const Field& field) {
    field(stamp.path);
    field(stamp.size);
    field(stamp.seconds);
    field(stamp.nanoseconds);
}

template <class Description, class Field>
void forEachPluginField(Description& plugin, const Field& field) {
    field(plugin.vendor);
    field(plugin.name);
    field(plugin.api);
    field(plugin.identifier);
    field(plugin.version);
    field(plugin.category);
    field(plugin.hasAudioInput);
    field(plugin.hasNoteInput);
    field(plugin.hasAudioOutput);
    field(plugin.hasNoteOutput);
    field(plugin.audioInBusCount);
    field(plugin.audioOutBusCount);
    field(plugin.audioInChannelCount);
    field(plugin.audioOutChannelCount);
    field(plugin.isComplete);
    field(plugin.failure);
}

struct WriteField {
    FieldWriter& writer;

    void operator()(const std::string& value) const { writer.write(value); }
    template <class Number>
    void operator()(Number value) const {
        writer.write(static_cast<int64_t>(value));
    }
};

struct ReadField {
    FieldReader& reader;

    void operator()(std::string& value) const { value = reader.readText(); }
    template <class Number>
    void operator()(Number& value) const {
        value = static_cast<Number>(reader.readNumber());
    }
};

void writePlugin(FieldWriter& writer, const PluginDescription& plugin) {
    forEachPluginField(plugin, WriteField{writer});
    writer.write(static_cast<int64_t>(plugin.deviceTypes.size()));
    for (const int32_t type : plugin.deviceTypes)
        writer.write(static_cast<int64_t>(type));
}

PluginDescription readPlugin(FieldReader& reader) {
    PluginDescription plugin;
    forEachPluginField(plugin, ReadField{reader});
    const int64_t types = reader.readNumber();
    for (int64_t type = 0; type < types && type < int64_t(mostDeviceTypes); ++type)
        plugin.deviceTypes.push_back(static_cast<int32_t>(reader.readNumber()));
    return plugin;
}

/// The bytes of a regular file of this user; empty if there is none.
std::string readOwnFile(const std::string& path) {
    const FileDescriptor file(
        aboveConsole(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_uid != geteuid() || status.st_size > largestFile)
        return {};
    std::string text(static_cast<size_t>(status.st_size), '\0');
    size_t size = 0;
    while (size < text.size()) {
        const ssize_t count = read(file.get(), text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        size += static_cast<size_t>(count);
    }
    text.resize(size);
    return text;
}

bool writeAll(int32_t descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return false;
        text.remove_prefix(static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

/// Whether a file that was being written has been left: no write takes an hour.
bool isLeftBehind(const std::string& path) {
    constexpr time_t longestWrite = 3600;
    const std::optional<FileStamp> stamp = FileStamp::of(path);
    return stamp && stamp->seconds < int64_t(time(nullptr)) - longestWrite;
}

void makeDirectories(const std::string& path) {
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        mkdir(path.substr(0, end).c_str(), S_IRWXU);
    const bool made = mkdir(path.c_str(), S_IRWXU) == 0;
    struct stat status {};
    const String name = base::core::concatReadable(path.c_str());
    // The umask may have cleared the owner's bits.
    if ((made && chmod(path.c_str(), S_IRWXU) != 0) || stat(path.c_str(), &status) != 0)
        throw IOException(concat("Could not make the directory \"", name, "\": ", lastErrorMessage()));
    if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid())
        throw IOException(concat("\"", name, "\" is no directory of this user"));
}

} // namespace

ReportCache::ReportCache(const std::string& directory) : directory(directory) {
    makeDirectories(directory);
}

std::optional<ReportOutcome> ReportCache::find(const ReportKey& key, double timeLimit) {
    const auto matches = [&](const Entry& entry) {
        return entry.key == key &&
               (entry.outcome.result != ReportResult::timedOut || entry.timeLimit >= timeLimit);
    };
    const std::string identity = key.identity();
    {
        const auto access = entries.lock();
        const auto found = access->find(identity);
        if (found != access->end() && matches(found->second))
            return found->second.outcome;
    }
    if (directory.empty())
        return {};
    // Another process may have kept a newer one.
    const std::optional<Entry> kept = readEntry(pathOf(identity));
    if (!kept || !matches(*kept))
        return {};
    entries.lock()->insert_or_assign(identity, *kept);
    return kept->outcome;
}

bool ReportCache::store(const ReportKey& key, double timeLimit, const ReportOutcome& outcome) {
    if (!isLasting(outcome.result))
        return true;
    const std::string identity = key.identity();
    const Entry entry{key, timeLimit, outcome};
    entries.lock()->insert_or_assign(identity, entry);
    return directory.empty() || writeEntry(pathOf(identity), encode(entry));
}

size_t ReportCache::dropGone() {
    const size_t dropped =
        std::erase_if(*entries.lock(), [](const auto& pair) { return isGone(pair.second); });
    return directory.empty() ? dropped : dropGoneFiles();
}

size_t ReportCache::dropGoneFiles() const {
    size_t dropped = 0;
    std::error_code failure;
    std::filesystem::directory_iterator file(directory, failure);
    for (; !failure && file != std::filesystem::directory_iterator(); file.increment(failure)) {
        const std::string name = file->path().filename();
        const std::string path = file->path();
        if (!isEntryName(name))
            continue;
        if (name.size() > digestLength + fileSuffix.size()) {
            if (isLeftBehind(path))
                unlink(path.c_str());
            continue;
        }
        const std::optional<Entry> entry = readEntry(path);
        if ((!entry || isGone(*entry)) && unlink(path.c_str()) == 0)
            ++dropped;
    }
    return dropped;
}

bool ReportCache::isGone(const Entry& entry) {
    for (const FileStamp* stamp : {&entry.key.library, &entry.key.program}) {
        struct stat status {};
        if (stat(stamp->path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR))
            return true;
    }
    return false;
}

std::string ReportCache::pathOf(const std::string& identity) const {
    return directory + "/" + digestOf(identity).append(fileSuffix);
}

std::string ReportCache::encode(const Entry& entry) {
    FieldWriter writer;
    writer.write(formatName);
    writer.write(entry.key.plugin);
    forEachField(entry.key.library, WriteField{writer});
    forEachField(entry.key.program, WriteField{writer});
    writer.write(entry.key.variables);
    writer.write(static_cast<int64_t>(std::llround(std::min(entry.timeLimit, 1e6) * 1000)));
    writer.write(static_cast<int64_t>(entry.outcome.result));
    writer.write(entry.outcome.reason);
    writer.write(entry.outcome.output);
    writer.write(static_cast<int64_t>(entry.outcome.plugins.size()));
    for (const PluginDescription& plugin : entry.outcome.plugins)
        writePlugin(writer, plugin);
    return writer.getText() + digestOf(writer.getText());
}

std::optional<ReportCache::Entry> ReportCache::decode(const std::string& text) {
    if (text.size() < digestLength)
        return {};
    const std::string_view fields = std::string_view(text).substr(0, text.size() - digestLength);
    if (digestOf(fields) != std::string_view(text).substr(fields.size()))
        return {};
    FieldReader reader(fields);
    if (reader.readText() != formatName)
        return {};
    Entry entry;
    entry.key.plugin = reader.readText();
    forEachField(entry.key.library, ReadField{reader});
    forEachField(entry.key.program, ReadField{reader});
    entry.key.variables = reader.readText();
    entry.timeLimit = static_cast<double>(reader.readNumber()) / 1000;
    const int64_t result = reader.readNumber();
    if (result < 0 || result > int64_t(ReportResult::timedOut))
        return {};
    entry.outcome.result = static_cast<ReportResult>(result);
    entry.outcome.reason = reader.readText();
    entry.outcome.output = reader.readText();
    const int64_t plugins = reader.readNumber();
    while (!reader.isDamaged() && int64_t(entry.outcome.plugins.size()) < plugins)
        entry.outcome.plugins.push_back(readPlugin(reader));
    return reader.isAtEnd() ? std::optional(std::move(entry)) : std::nullopt;
}

std::optional<ReportCache::Entry> ReportCache::readEntry(const std::string& path) const {
    std::optional<Entry> entry = decode(readOwnFile(path));
    // A file of another name isn't this entry's.
    if (!entry || pathOf(entry->key.identity()) != path)
        return {};
    return entry;
}

bool ReportCache::writeEntry(const std::string& path, const std::string& text) const {
    std::string temporary = path + ".XXXXXX";
    const FileDescriptor file(aboveConsole(mkostemp(temporary.data(), O_CLOEXEC)));
    if (file.get() < 0)
        return false;
    // The umask may have cleared the owner's bits.
    if (fchmod(file.get(), S_IRUSR | S_IWUSR) == 0 && writeAll(file.get(), text) &&
        rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    unlink(temporary.c_str());
    return false;
}
