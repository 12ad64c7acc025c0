#include "library/StateFile.h"

#include "core/Exception.h"
#include "library/Failure.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace client_library {
namespace {

IOException failure(const char* operation, const std::string& path) {
    return IOException(
        concat("Could not ", operation, " ", path.c_str(), ": ", base::core::lastErrorMessage()));
}

std::vector<uint8_t> readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file)
        throw failure("read", path);
    return bytes;
}

// A preset of VST 3: its magic, a version, the class as text, and the place of a list of places and sizes.
constexpr size_t vst3ClassPlace = 8;
constexpr size_t vst3ClassSize = 32;
constexpr size_t vst3ListPlace = 40;
constexpr size_t vst3HeaderSize = 48;
constexpr size_t vst3EntrySize = 20;

// A bank of VST 2, and a program: big-endian numbers of four bytes. Both have the count of their parts at one
// place.
constexpr size_t formatPlace = 8;
constexpr size_t countPlace = 24;
constexpr size_t programNamePlace = 28;
constexpr size_t programHeadSize = programNamePlace + 28;

template <class Number>
uint64_t numberAt(const std::vector<uint8_t>& bytes, uint64_t place) {
    Number number = 0;
    std::memcpy(&number, bytes.data() + place, sizeof number);
    return number;
}

void writeNumber(std::vector<uint8_t>& bytes, size_t place, uint32_t number) {
    for (size_t i = 0; i < sizeof number; ++i)
        bytes[place + i] = static_cast<uint8_t>(number >> (24 - 8 * i));
}

/// Whether all that the list of a preset of VST 3 has is in the file.
bool hasWholeList(const std::vector<uint8_t>& bytes) {
    const uint64_t size = bytes.size();
    const uint64_t list = numberAt<uint64_t>(bytes, vst3ListPlace);
    if (list > size || size - list < 8 || std::memcmp(bytes.data() + list, "List", 4) != 0)
        return false;
    const uint64_t count = numberAt<uint32_t>(bytes, list + 4);
    if ((size - list - 8) / vst3EntrySize < count)
        return false;
    for (uint64_t entry = list + 8; entry < list + 8 + count * vst3EntrySize; entry += vst3EntrySize) {
        const uint64_t place = numberAt<uint64_t>(bytes, entry + 4);
        if (place > size || size - place < numberAt<uint64_t>(bytes, entry + 12))
            return false;
    }
    return true;
}

std::string makeDirectory() {
    for (const char* name : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
        const char* parent = std::getenv(name);
        std::string folder = std::string(parent != nullptr ? parent : "") + "/plugin-host-XXXXXX";
        if (parent != nullptr && *parent == '/' && mkdtemp(folder.data()) != nullptr)
            return folder;
    }
    std::string name = "/tmp/plugin-host-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw failure("make a folder like", name);
    return name;
}

} // namespace

const char* StateFile::suffixFor(const String& path) {
    return String::endsWith(path, "vst3") ? ".vstpreset" : ".fxb";
}

StateFile::StateFile(const char* suffix) : directory(makeDirectory()), path(directory + "/state" + suffix) {}

StateFile::~StateFile() {
    unlink(path.c_str());
    rmdir(directory.c_str());
}

void StateFile::write(const void* bytes, size_t size) const {
    // For this user alone, also where something else opens the folder.
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        throw failure("write", path);
    close(descriptor);
    std::ofstream file(path, std::ios::binary);
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    file.close();
    if (!file)
        throw failure("write", path);
}

std::vector<uint8_t> StateFile::read() const {
    return readBytes(path);
}

void requireVst3Preset(const String& path, const String& identifier) {
    const std::vector<uint8_t> bytes = readBytes(path.toStdString());
    const std::string wanted = identifier.toStdString();
    if (bytes.size() < vst3HeaderSize || std::memcmp(bytes.data(), "VST3", 4) != 0 || !hasWholeList(bytes))
        throw Failure(PLUGIN_HOST_REFUSED, concat(path, " is no preset of VST 3, or isn't whole"));
    const std::string owner(reinterpret_cast<const char*>(bytes.data()) + vst3ClassPlace, vst3ClassSize);
    if (!wanted.empty() && strcasecmp(owner.c_str(), wanted.c_str()) != 0)
        throw Failure(PLUGIN_HOST_REFUSED, concat(path, " is another plug-in's preset"));
}

void requireWritable(const String& path) {
    const std::string name = path.toStdString();
    const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor < 0)
        throw failure("write", name);
    close(descriptor);
}

bool isBankWithoutPrograms(const String& path) {
    const std::vector<uint8_t> bytes = readBytes(path.toStdString());
    return bytes.size() >= programNamePlace && std::memcmp(bytes.data() + formatPlace, "FxBk", 4) == 0 &&
           numberAt<uint32_t>(bytes, countPlace) == 0;
}

void writeProgram(const String& path, const std::vector<float>& values) {
    const std::string name = path.toStdString();
    std::vector<uint8_t> bytes = readBytes(name);
    bytes.assign(bytes.begin(), bytes.begin() + programNamePlace);
    bytes.resize(programHeadSize + values.size() * sizeof(float));
    writeNumber(bytes, 4, static_cast<uint32_t>(bytes.size() - 8));
    std::memcpy(bytes.data() + formatPlace, "FxCk", 4);
    writeNumber(bytes, countPlace, static_cast<uint32_t>(values.size()));
    for (size_t i = 0; i < values.size(); ++i)
        writeNumber(bytes, programHeadSize + i * sizeof(float), std::bit_cast<uint32_t>(values[i]));
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file)
        throw failure("write", name);
}

} // namespace client_library
